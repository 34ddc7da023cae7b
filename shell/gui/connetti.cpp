#include "shell/gui/connetti.h"

#include "shell/dbclass.h"
#include "shell/qorclass.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

Connetti::Connetti(AppContext &ctx, QWidget *parent) : QDialog(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Connessione database QOR"));
    auto *grid = new QGridLayout(this);
    const QString y = QString::number(ctx_.app.year());
    const QString py = QString::number(ctx_.app.year() - 1);
    auto *l1 = new QLabel(QStringLiteral("Database anno &corrente (%1):").arg(y), this);
    auto *l2 = new QLabel(QStringLiteral("Database anno &precedente (%1):").arg(py), this);
    cur_ = new QLineEdit(ctx_.db.currentPath(), this);
    prev_ = new QLineEdit(ctx_.db.previousPath(), this);
    cur_->setReadOnly(true);
    prev_->setReadOnly(true);
    cur_->setMinimumWidth(420);
    l1->setBuddy(cur_);
    l2->setBuddy(prev_);
    auto *b1 = new QPushButton(QStringLiteral("&Sfoglia..."), this);
    auto *b2 = new QPushButton(QStringLiteral("S&foglia..."), this);
    auto *b3 = new QPushButton(QStringLiteral("S&vuota"), this);
    b1->setObjectName(QStringLiteral("browseCurrent"));
    b2->setObjectName(QStringLiteral("browsePrevious"));
    b3->setObjectName(QStringLiteral("emptyPrevious"));
    grid->addWidget(l1, 0, 0);
    grid->addWidget(cur_, 0, 1);
    grid->addWidget(b1, 0, 2);
    grid->addWidget(l2, 1, 0);
    grid->addWidget(prev_, 1, 1);
    grid->addWidget(b2, 1, 2);
    grid->addWidget(b3, 1, 3);
    auto *box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    box->button(QDialogButtonBox::Ok)->setText(QStringLiteral("C&onferma"));
    box->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("&Annulla"));
    grid->addWidget(box, 2, 0, 1, 4);
    connect(b1, &QPushButton::clicked, this, [this] { browse(false); });
    connect(b2, &QPushButton::clicked, this, [this] { browse(true); });
    connect(b3, &QPushButton::clicked, this, [this] { emptyPrevious(); });
    connect(box, &QDialogButtonBox::accepted, this, &Connetti::confirm);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

QString Connetti::filterCurrent(int year)
{
    const QString n = QStringLiteral("Qor") + QString::number(year) + QStringLiteral(".db");
    return QStringLiteral("Database QOR anno corrente (") + n + QStringLiteral(")|") + n
           + QStringLiteral("|Tutti i database QOR (*.db)|*.db|Tutti i files (*.*)|*.*");
}

QString Connetti::filterPrevious(int year)
{
    const QString n = QStringLiteral("Qor") + QString::number(year - 1) + QStringLiteral(".db");
    return QStringLiteral("Database QOR anno precedente (") + n + QStringLiteral(")|") + n
           + QStringLiteral("|Tutti i database QOR (*.db)|*.db|Tutti i files (*.*)|*.*");
}

QStringList Connetti::qtFilters(const QString &pairs)
{
    // Each visible text ends with its pattern in parentheses, which is how the
    // file dialog reads it.
    const QStringList p = pairs.split(u'|');
    QStringList out;
    for (int i = 0; i + 1 < p.size(); i += 2)
        out << p[i];
    return out;
}

void Connetti::browse(bool previousYear)
{
    const int y = ctx_.app.year();
    const QString start = (previousYear ? prev_ : cur_)->text();
    const QString path = QFileDialog::getOpenFileName(
        this, QStringLiteral("Connessione database QOR"),
        start.isEmpty() ? ctx_.app.dataFolder() : QFileInfo(start).absolutePath(),
        qtFilters(previousYear ? filterPrevious(y) : filterCurrent(y)).join(QStringLiteral(";;")));
    if (!path.isEmpty())
        choose(previousYear, path);
}

bool Connetti::choose(bool previousYear, const QString &path)
{
    if (!ctx_.db.checkChosenFile(path, previousYear)) {
        if (ctx_.db.engineMissing())
            reject(); // the main window ends the program
        return false;
    }
    (previousYear ? prev_ : cur_)->setText(path);
    return true;
}

void Connetti::emptyPrevious()
{
    prev_->clear();
    ctx_.db.setPreviousPath({});
    ctx_.app.writeText(QStringLiteral("Qor") + QString::number(ctx_.app.year() - 1),
                       QStringLiteral("PATH"), {});
}

void Connetti::confirm()
{
    ctx_.db.applyChoice(cur_->text(), prev_->text());
    accept();
}
