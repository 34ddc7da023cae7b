// Form "Verifica": options, province check, counters, captions and status.

#include "fixture.h"

#include "shell/context.h"
#include "verify/gui/verifica.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

using verify::gui::VerificaForm;

class TestVerificaForm : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void provinceRequired();
    void allDeclarations();
    void currentDeclarationIncludesExported();
    void cleanRunKeepsVerifica();
};

void TestVerificaForm::provinceRequired()
{
    Fixture f;
    QVERIFY(f.ok());
    AppContext ctx{*f.app, *f.db, f.msg};
    VerificaForm form(ctx);
    form.provinceOption()->setChecked(true);
    form.pressAction();
    QCOMPARE(f.msg.last(), QStringLiteral("Attenzione, sigla provincia richiesta."));
    QVERIFY(form.statusLine()->text().isEmpty());
    f.msg.clear();
    form.provinceEdit()->setText("XX");
    form.pressAction();
    QCOMPARE(f.msg.last(), QStringLiteral("Attenzione, sigla provincia digitata errata!"));
    QVERIFY(form.statusLine()->text().isEmpty());
    // A known province runs over its chamber's declarations.
    f.declaration("AAA");
    f.declaration("VVV", "Vercelli", {{"prvIstat", 2}, {"comIstat", 2}});
    form.provinceEdit()->setText("VC");
    form.pressAction();
    QCOMPARE(form.withRemarksLabel()->text(), QStringLiteral("Dichiarazioni con segnalazioni: 1"));
    QCOMPARE(form.statusLine()->text(), QStringLiteral("Verifica della/e dichiarazioni terminata"));
}

void TestVerificaForm::allDeclarations()
{
    Fixture f;
    QVERIFY(f.ok());
    f.declaration("AAA");                                // only the anagrafica: a remark
    const qint64 ok = f.declaration("BBB");
    const qint64 r = f.rif(ok, "170405", {{"qtaProd", 10}, {"qtaCons", 10}});
    f.modRif(r, 2, {{"qtaMod", 10}});
    f.declaration("CCC", "Esportata", {{"ExpID", 4}});   // skipped without chkExp
    AppContext ctx{*f.app, *f.db, f.msg};
    VerificaForm form(ctx);
    QVERIFY(form.allOption()->isChecked());  // no current declaration yet
    QVERIFY(!form.currentOption()->isEnabled());
    QCOMPARE(form.otherButton()->text(), QStringLiteral("Annulla"));
    form.pressAction();
    QCOMPARE(form.withRemarksLabel()->text(), QStringLiteral("Dichiarazioni con segnalazioni: 1"));
    QCOMPARE(form.withoutRemarksLabel()->text(), QStringLiteral("Dichiarazioni senza segnalazioni: 1"));
    QCOMPARE(form.actionButton()->text(), QStringLiteral("Visualizza errori"));
    QCOMPARE(form.otherButton()->text(), QStringLiteral("Chiudi"));
    QCOMPARE(form.statusLine()->text(), QStringLiteral("Verifica della/e dichiarazioni terminata"));
    QVERIFY(QFile::exists(f.app->reportPath()));

    VerificaForm again(ctx);
    again.chkExp()->setChecked(true);
    again.pressAction();
    QCOMPARE(again.withRemarksLabel()->text(), QStringLiteral("Dichiarazioni con segnalazioni: 2"));
}

void TestVerificaForm::currentDeclarationIncludesExported()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 sa = f.declaration("AAA", "Esportata", {{"ExpID", 9}});
    f.declaration("BBB");
    f.app->writeText("Qor", "Sa1ID", QString::number(sa));
    AppContext ctx{*f.app, *f.db, f.msg};
    VerificaForm form(ctx);
    QVERIFY(form.currentOption()->isChecked());
    QVERIFY(!form.chkExp()->isChecked());
    form.pressAction();
    QCOMPARE(form.withRemarksLabel()->text(), QStringLiteral("Dichiarazioni con segnalazioni: 1"));
    QFile report(f.app->reportPath());
    QVERIFY(report.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(report.readAll());
    QVERIFY(text.contains("Nome o Ragione sociale: Esportata"));
    QVERIFY(!text.contains("Codice fiscale: BBB"));
}

void TestVerificaForm::cleanRunKeepsVerifica()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 ok = f.declaration("BBB");
    const qint64 r = f.rif(ok, "170405", {{"qtaProd", 10}, {"qtaCons", 10}});
    f.modRif(r, 2, {{"qtaMod", 10}});
    AppContext ctx{*f.app, *f.db, f.msg};
    VerificaForm form(ctx);
    form.pressAction();
    QVERIFY(!form.anyRemark());
    QCOMPARE(form.actionButton()->text(), QStringLiteral("Verifica"));
    QCOMPARE(form.withoutRemarksLabel()->text(), QStringLiteral("Dichiarazioni senza segnalazioni: 1"));
}

QTEST_MAIN(TestVerificaForm)
#include "tst_verifica_form.moc"
