#include "shell/gui/connetti.h"

#include "shell/dbclass.h"
#include "refdata/template.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSqlDatabase>
#include <QSqlQuery>

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
    // A path may be typed too: it is checked on confirming.
    checked_[0] = cur_->text();
    checked_[1] = prev_->text();
    cur_->setMinimumWidth(420);
    l1->setBuddy(cur_);
    l2->setBuddy(prev_);
    auto *b1 = new QPushButton(QStringLiteral("&Sfoglia..."), this);
    auto *b2 = new QPushButton(QStringLiteral("S&foglia..."), this);
    auto *b3 = new QPushButton(QStringLiteral("S&vuota"), this);
    b1->setObjectName(QStringLiteral("browseCurrent"));
    b2->setObjectName(QStringLiteral("browsePrevious"));
    b3->setObjectName(QStringLiteral("emptyPrevious"));
    auto *b4 = new QPushButton(QStringLiteral("&Nuovo archivio..."), this);
    b4->setObjectName(QStringLiteral("newArchive"));
    b4->setToolTip(QStringLiteral("Crea un nuovo database vuoto dell'anno corrente"));
    grid->addWidget(l1, 0, 0);
    grid->addWidget(cur_, 0, 1);
    grid->addWidget(b1, 0, 2);
    grid->addWidget(b4, 0, 3);
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
    connect(b4, &QPushButton::clicked, this, [this] { newArchive(); });
    connect(box, &QDialogButtonBox::accepted, this, [this] { confirm(); });
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

QString Connetti::editionOf(const QString &path)
{
    const QString conn = QStringLiteral("qor_edition_check");
    QString version;
    QSqlError err;
    if (dbClass::openStore(path, conn, true, &err, nullptr, dbClass::busyTimeoutMs)) {
        {
            QSqlQuery q(QSqlDatabase::database(conn, false));
            if (q.exec(QStringLiteral("SELECT CnfDbVer FROM Config")) && q.next())
                version = q.value(0).toString();
        }
        dbClass::closeStore(conn);
    }
    return version;
}

bool Connetti::sameFile(const QString &a, const QString &b) const
{
    if (a.isEmpty() || b.isEmpty())
        return false;
    if (dbClass::isPostgresUrl(a) || dbClass::isPostgresUrl(b))
        return a == b;
    const QFileInfo fa(a), fb(b);
    if (fa.exists() && fb.exists())
        return fa.canonicalFilePath() == fb.canonicalFilePath();
    return fa.absoluteFilePath() == fb.absoluteFilePath();
}

bool Connetti::choose(bool previousYear, const QString &path)
{
    const QString title = QStringLiteral("Connessione database QOR");
    if (sameFile(path, (previousYear ? cur_ : prev_)->text())) {
        ctx_.msg.critical(QStringLiteral("Attenzione, il database dell'anno corrente e quello dell'anno "
                                         "precedente non possono essere lo stesso file."),
                          title);
        return false;
    }
    if (!dbClass::isPostgresUrl(path) && !QFileInfo(path).isFile()) {
        ctx_.msg.critical(QStringLiteral("Attenzione, file non trovato: ") + path, title);
        return false;
    }
    if (!ctx_.db.checkChosenFile(path, previousYear)) {
        if (ctx_.db.engineMissing())
            reject(); // the main window ends the program
        return false;
    }
    // A database already brought to this edition is a current-year one.
    if (previousYear && editionOf(path) >= schema::dbVersion()) {
        const int y = ctx_.app.year();
        ctx_.msg.critical(QStringLiteral("Attenzione, il file selezionato è un database QOR %1: come database "
                                         "dell'anno precedente occorre scegliere un database QOR %2.")
                              .arg(y)
                              .arg(y - 1),
                          title);
        return false;
    }
    (previousYear ? prev_ : cur_)->setText(path);
    checked_[previousYear ? 1 : 0] = path;
    return true;
}

void Connetti::emptyPrevious()
{
    prev_->clear();
    checked_[1].clear();
    ctx_.db.setPreviousPath({});
    ctx_.app.writeText(QStringLiteral("Qor") + QString::number(ctx_.app.year() - 1),
                       QStringLiteral("PATH"), {});
}

void Connetti::newArchive()
{
    QString path;
    if (chooseNewFile) {
        path = chooseNewFile();
    } else {
        const int y = ctx_.app.year();
        QFileDialog dlg(this, QStringLiteral("Nuovo archivio QOR"), ctx_.app.dataFolder(),
                        qtFilters(filterCurrent(y)).join(QStringLiteral(";;")));
        dlg.setAcceptMode(QFileDialog::AcceptSave);
        dlg.setFileMode(QFileDialog::AnyFile);
        dlg.setDefaultSuffix(QStringLiteral("db"));
        dlg.selectFile(QStringLiteral("Qor") + QString::number(y) + QStringLiteral(".db"));
        if (dlg.exec() == QDialog::Accepted && !dlg.selectedFiles().isEmpty())
            path = dlg.selectedFiles().first();
    }
    if (!path.isEmpty())
        createNew(path);
}

bool Connetti::createNew(const QString &path)
{
    const QString title = QStringLiteral("Connessione database QOR");
    if (QFileInfo::exists(path)) {
        ctx_.msg.critical(QStringLiteral("Attenzione, il file esiste già: per un nuovo archivio scegliere "
                                         "un nome di file diverso.\n") + path,
                          title);
        return false;
    }
    QString error;
    if (!refdata::createDatabase(path, qorClass::refdataFolder(), &error)) {
        ctx_.msg.critical(QStringLiteral("Attenzione, creazione del nuovo archivio non riuscita:\n") + error, title);
        return false;
    }
    return choose(false, path);
}

bool Connetti::confirm()
{
    // Paths typed by hand are checked like chosen ones.
    const QString cur = cur_->text().trimmed();
    const QString prev = prev_->text().trimmed();
    if (!cur.isEmpty() && cur != checked_[0] && !choose(false, cur))
        return false;
    if (!prev.isEmpty() && prev != checked_[1] && !choose(true, prev))
        return false;
    if (sameFile(cur, prev)) {
        ctx_.msg.critical(QStringLiteral("Attenzione, il database dell'anno corrente e quello dell'anno "
                                         "precedente non possono essere lo stesso file."),
                          QStringLiteral("Connessione database QOR"));
        return false;
    }
    ctx_.db.applyChoice(cur, prev);
    accept();
    return true;
}
