// The anagrafica forms inside the main window: the SA1 menu entry, the list
// of declarations that follows saves and deletions, the remembered choice.

#include "../testdb.h"
#include "sections/anag/gui/sa1form.h"
#include "sections/anag/sa1.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "ui/controls.h"
#include "ui/fieldform.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTableView>

namespace {

fields::Record declaration(const QString &name, const QString &via)
{
    return {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")}, {QStringLiteral("RagSoc"), name},
            {QStringLiteral("prvIstat"), 15}, {QStringLiteral("comIstat"), 146},
            {QStringLiteral("Via"), via}, {QStringLiteral("Civico"), QStringLiteral("3")},
            {QStringLiteral("attIstat"), QStringLiteral("381100")}, {QStringLiteral("Addetti"), 4LL},
            {QStringLiteral("slPrvIstat"), 15}, {QStringLiteral("slComIstat"), 146},
            {QStringLiteral("slVia"), via}, {QStringLiteral("saCognome"), QStringLiteral("ROSSI")},
            {QStringLiteral("saNome"), QStringLiteral("MARIO")},
            {QStringLiteral("saDataComp"), QStringLiteral("2019-03-01")}};
}

} // namespace

class TestAnagMain : public QObject {
    Q_OBJECT
    TestDb t;
private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        registerForms();
    }

    void chooseSaveAndDelete()
    {
        const qint64 a = sa1::save(*t.ctx, 0, declaration(QStringLiteral("ALFA"), QStringLiteral("VIA UNO")));
        const qint64 b = sa1::save(*t.ctx, 0, declaration(QStringLiteral("BETA"), QStringLiteral("VIA DUE")));
        QVERIFY(a > 0 && b > 0);
        MainWindow w(*t.ctx);
        w.declarations()->reload();
        w.updateActions();
        w.show();
        QVERIFY(QTest::qWaitForWindowActive(&w));
        QVERIFY(w.action(QStringLiteral("&SA1 - Sezione anagrafica"))->isEnabled());
        QVERIFY(w.action(QStringLiteral("&Registra utente"))->isEnabled());

        DeclarationList *list = w.declarations();
        QCOMPARE(list->rowCount(), 2);
        QCOMPARE(list->rowText(0, 0), QStringLiteral("ALFA - U. L.: VIA UNO 3, MILANO"));

        // Choosing one remembers it; SA1 opens on it.
        list->chooseRow(1);
        QCOMPARE(t.app->readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), int(b));
        w.openForm(Form::SA1);
        auto *form = qobject_cast<Sa1Form *>(w.mdi()->activeSubWindow()->widget());
        QVERIFY(form);
        QCOMPARE(form->currentKey(), b);
        // Its navigator runs over the declarations of the same company.
        QCOMPARE(form->navigator()->caption(), QStringLiteral("Unità locale 2 di 2"));
        form->moveTo(1);
        QCOMPARE(form->currentKey(), a);
        QCOMPARE(w.declarations()->currentId(), a); // the list follows
        form->moveTo(2);
        if (qEnvironmentVariableIsSet("QOR_SHOTS"))
            w.grab().save(qEnvironmentVariable("QOR_SHOTS") + QStringLiteral("/main.png"));

        // Choosing another declaration in the list moves the open form.
        list->chooseRow(0);
        QCOMPARE(form->currentKey(), a);

        // A change that cannot be saved keeps the form, and the list, where they are.
        form->fields()->focusField(1);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Delete);
        t.msg.clear();
        t.msg.answer({true});
        list->chooseRow(1);
        QCOMPARE(t.msg.texts(), (QStringList{QStringLiteral("Attenzione dati cambiati, vuoi salvarli?"),
                                             QStringLiteral("Attenzione, nome o ragione sociale richiesto.")}));
        QCOMPARE(form->currentKey(), a);
        QCOMPARE(w.declarations()->currentId(), a);
        QVERIFY(form->isModified());
        t.msg.clear();
        list->chooseRow(1); // No: the change is dropped
        QCOMPARE(form->currentKey(), b);
        QCOMPARE(sa1::load(*t.ctx, a).value(QStringLiteral("RagSoc")).toString(), QStringLiteral("ALFA"));
        list->chooseRow(0);

        // A new declaration saved from SA1 becomes the current one.
        form->startNew(declaration(QStringLiteral("GAMMA"), QStringLiteral("VIA TRE")));
        QVERIFY(form->save());
        const qint64 c = form->currentKey();
        QCOMPARE(list->rowCount(), 3);
        QCOMPARE(w.declarations()->currentId(), c);
        QCOMPARE(t.app->readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), int(c));

        // Deleting it from SA1 removes its tree and drops it from the list.
        QVERIFY(t.db->execute(QStringLiteral("INSERT INTO SezRif (saID, rifCod) VALUES (?, '200101')"), {c}));
        t.msg.clear();
        t.msg.answer({true});
        form->removeCurrent();
        QCOMPARE(t.msg.texts().size(), 1);
        QVERIFY(t.msg.last().startsWith(QStringLiteral("Elimino dichiarazione: GAMMA - U. L.: ")));
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezRif")).toInt(), 0);
        QCOMPARE(list->rowCount(), 2);
        QCOMPARE(form->currentKey(), b); // the unit before it
        QCOMPARE(w.declarations()->currentId(), b);
        QCOMPARE(t.app->readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), int(b));

        // The register opens from the list's button; the filter finds by tax code.
        w.openForm(Form::Anagrafiche);
        QCOMPARE(w.mdi()->activeSubWindow()->widget()->objectName(), QStringLiteral("Anagrafiche"));
        auto *filter = w.declarations()->findChild<QLineEdit *>();
        filter->setText(QStringLiteral("beta"));
        QCOMPARE(list->rowCount(), 1);
        QVERIFY(list->rowText(0, 0).startsWith(QStringLiteral("BETA - ")));
        filter->setText(QStringLiteral("0048841"));
        QCOMPARE(list->rowCount(), 2);
    }
};

QTEST_MAIN(TestAnagMain)
#include "test_anag_main.moc"
