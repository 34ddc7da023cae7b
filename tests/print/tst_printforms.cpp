// The print commands of the main menu: the list form's choices and messages,
// and the temporary files handed to the viewer.

#include "pdftestutil.h"
#include "print/gui/printforms.h"
#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/formrule.h"
#include "shell/gui/formregistry.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QtTest>

using namespace pdftest;

class TestPrintForms : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void listFormChecksTheProvince();
    void declarationPrintNeedsACurrentDeclaration();

private:
    QTemporaryDir dir_;
    std::unique_ptr<qorClass> app_;
    ScriptedMessages msg_;
    std::unique_ptr<dbClass> db_;
    std::unique_ptr<AppContext> ctx_;
    QStringList opened_;
    qint64 saID_ = 0;
};

void TestPrintForms::initTestCase()
{
    app_ = std::make_unique<qorClass>(dir_.filePath(QStringLiteral("data")));
    QVERIFY(app_->ensureDataFolder());
    const QString path = dir_.filePath(QStringLiteral("prova.db"));
    QString error;
    QVERIFY2(refdata::createDatabase(path, app_->refdataFolder(), &error), qPrintable(error));
    db_ = std::make_unique<dbClass>(*app_, msg_);
    db_->setCurrentPath(path);
    QVERIFY(db_->connect());
    saID_ = db_->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("saAnno"), 2019},
                                                       {QStringLiteral("CodFisc"), QStringLiteral("01234567890")},
                                                       {QStringLiteral("RagSoc"), QStringLiteral("Cantù Metalli")},
                                                       {QStringLiteral("prvIstat"), 40},
                                                       {QStringLiteral("comIstat"), 12},
                                                       {QStringLiteral("ExpID"), 0}});
    QVERIFY(saID_ > 0);
    ctx_ = std::make_unique<AppContext>(AppContext{*app_, *db_, msg_});
    openPrintedFile = [this](const QString &p) { opened_.append(p); };

    registerPrintForms();
    QVERIFY(formRegistry().contains(Form::Print));
    QVERIFY(formRegistry().value(Form::Print).needsDeclaration);
    QVERIFY(formRegistry().contains(Form::PrintList));
}

void TestPrintForms::listFormChecksTheProvince()
{
    PrintListForm form(*ctx_);
    QVERIFY(form.allOption()->isChecked());
    QVERIFY(!form.siglaField()->isEnabled());
    form.provinceOption()->setChecked(true);
    QVERIFY(form.siglaField()->isEnabled());

    msg_.clear();
    opened_.clear();
    QVERIFY(!form.print());
    QCOMPARE(msg_.last(), QStringLiteral("Attenzione, sigla provincia richiesta."));
    form.siglaField()->setText(QStringLiteral("XX"));
    QVERIFY(!form.print());
    QCOMPARE(msg_.last(), QStringLiteral("Attenzione, sigla provincia digitata errata!"));
    QVERIFY(opened_.isEmpty());

    form.siglaField()->setText(QStringLiteral("to"));   // Torino: nobody there
    QVERIFY(form.print());
    QCOMPARE(opened_.size(), 1);
    {
        QFile empty(opened_.last());
        QVERIFY(empty.open(QIODevice::ReadOnly));
        QVERIFY(shownTexts(empty.readAll(), 0).contains("Nessuna dichiarazione."));
    }

    form.siglaField()->setText(QStringLiteral("FC"));
    QVERIFY(form.print());
    QCOMPARE(opened_.size(), 2);
    const QFileInfo fi(opened_.last());
    QVERIFY(fi.fileName().startsWith(QStringLiteral("qor_0_prn_")));
    QVERIFY(fi.fileName().endsWith(QStringLiteral(".pdf")));
    QFile f(opened_.last());
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray doc = f.readAll();
    QCOMPARE(structureFault(doc), QString());
    QVERIFY(shownTexts(doc, 0).contains(clsPDFCreator::toWinAnsi(QStringLiteral("Cantù Metalli"))));
    for (const QString &p : opened_)
        QFile::remove(p);
}

void TestPrintForms::declarationPrintNeedsACurrentDeclaration()
{
    msg_.clear();
    opened_.clear();
    app_->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("0"));
    QVERIFY(!printCurrentDeclaration(*ctx_));
    QCOMPARE(msg_.last(), QStringLiteral("Attenzione, selezionare una dichiarazione dall'elenco."));
    app_->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(saID_ + 100));
    QVERIFY(!printCurrentDeclaration(*ctx_));   // deleted meanwhile
    QVERIFY(opened_.isEmpty());

    app_->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(saID_));
    QVERIFY(printCurrentDeclaration(*ctx_));
    QCOMPARE(opened_.size(), 1);
    QVERIFY(QFileInfo(opened_.first()).fileName().startsWith(QStringLiteral("qor_%1_prn_").arg(saID_)));
    QFile f(opened_.first());
    QVERIFY(f.open(QIODevice::ReadOnly));
    QVERIFY(shownTexts(f.readAll(), 0).contains("SA1 - Sezione anagrafica"));
    QFile::remove(opened_.first());
}

QTEST_MAIN(TestPrintForms)
#include "tst_printforms.moc"
