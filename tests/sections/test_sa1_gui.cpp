// The SA1 form, the company register and the user data form driven from the
// keyboard, offscreen. QOR_SHOTS=folder saves a picture of each form there.

#include "../testdb.h"
#include "sections/anag/gui/anagrafiche.h"
#include "sections/anag/gui/registra.h"
#include "sections/anag/gui/sa1form.h"
#include "sections/anag/register.h"
#include "sections/anag/sa1.h"
#include "ui/controls.h"
#include "ui/fieldform.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSqlError>
#include <QSqlQuery>
#include <QTimer>
#include <QTreeWidget>

namespace {

QWidget *focused() { return QApplication::focusWidget(); }

void type(const QString &text)
{
    QTest::keyClicks(focused(), text);
}

void tab() { QTest::keyClick(focused(), Qt::Key_Tab); }
void enter() { QTest::keyClick(focused(), Qt::Key_Return); }

void shot(QWidget &w, const char *name)
{
    const QString dir = qEnvironmentVariable("QOR_SHOTS");
    if (!dir.isEmpty())
        w.grab().save(dir + u'/' + QString::fromLatin1(name) + QStringLiteral(".png"));
}

} // namespace

class TestSa1Gui : public QObject {
    Q_OBJECT
    TestDb t;
private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }
    void init() { t.msg.clear(); }

    void tabOrderFollowsTheFieldIndex()
    {
        Sa1Form f(*t.ctx);
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        f.fields()->focusField(0);
        QStringList order;
        for (int i = 0; i < 30; ++i) {
            int slot = -1;
            for (int p = 0; p < sa1::fieldTable().size(); ++p)
                if (f.fields()->focusTarget(p) == focused())
                    slot = p;
            if (slot < 0 && focused()->objectName() == QLatin1String("copiaUnitaLocale")) {
                tab(); // the link between the registered office and the representative
                continue;
            }
            if (slot < 0)
                break;
            order << sa1::fieldTable()[slot].name;
            // Leave empty fields without running their rules: Tab straight on.
            f.fields()->setExitRule({});
            tab();
            if (!t.msg.shown.isEmpty())
                t.msg.clear();
        }
        QStringList expected;
        for (const auto &fd : sa1::fieldTable())
            if (fd.kind != fields::Kind::Province)
                expected << fd.name;
        QCOMPARE(order, expected);
    }

    void enterFromKeyboardTripRulesAndSave()
    {
        Sa1Form f(*t.ctx);
        f.resize(1300, 760);
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        QVERIFY(!f.saveButton()->isEnabled());
        QCOMPARE(f.exportedLabel()->text(), QStringLiteral("Esportata: No"));
        f.fields()->focusField(0);

        // A wrong form of tax code keeps the focus.
        type(QStringLiteral("0048841001"));
        tab();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo codice fiscale formalmente errato!"));
        QCOMPARE(focused(), f.fields()->control(QStringLiteral("CodFisc")));
        QVERIFY(f.saveButton()->isEnabled());
        QTest::keyClick(focused(), Qt::Key_End);
        type(QStringLiteral("0"));
        enter(); // Enter moves on like Tab
        QCOMPARE(focused(), f.fields()->control(QStringLiteral("RagSoc")));
        type(QStringLiteral("ditta dell'orso"));
        tab();
        t.msg.clear();
        type(QStringLiteral("1234567890")); // only 9 digits fit
        QCOMPARE(qobject_cast<QLineEdit *>(focused())->text(), QStringLiteral("123456789"));
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, al massimo 9 cifre intere: \"0\" non è stato inserito.")});
        tab();
        t.msg.clear();
        type(QStringLiteral("milano"));
        tab();
        QVERIFY(t.msg.shown.isEmpty());
        auto *prov = f.findChild<QLineEdit *>(QStringLiteral("ulProv"));
        QCOMPARE(prov->text(), QStringLiteral("MI"));
        QCOMPARE(focused(), f.fields()->control(QStringLiteral("Via")));
        type(QStringLiteral("via roma"));
        tab();
        type(QStringLiteral("1a"));
        tab();
        type(QStringLiteral("2010x")); // letters refused by the control
        QCOMPARE(qobject_cast<QLineEdit *>(focused())->text(), QStringLiteral("2010"));
        tab();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
        type(QStringLiteral("0"));
        tab();
        type(QStringLiteral("02"));
        tab();
        type(QStringLiteral("1234567"));
        tab();
        t.msg.clear();
        type(QStringLiteral("999999"));
        tab();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice Istat Attività errato."));
        QCOMPARE(qobject_cast<ui::ActivityBox *>(f.fields()->control(QStringLiteral("attIstat")))->code(), QString());
        type(QStringLiteral("381100"));
        tab();
        t.msg.answer({true});
        type(QStringLiteral("100"));
        tab(); // Yes: stay and correct
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, verificare numero addetti."));
        QTest::keyClick(focused(), Qt::Key_Backspace);
        type(QStringLiteral("5"));
        tab();
        type(QStringLiteral("13"));
        tab();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, mesi di attività errati."));
        QCOMPARE(qobject_cast<QLineEdit *>(focused())->text(), QStringLiteral("0"));
        QTest::keyClick(focused(), Qt::Key_A, Qt::ControlModifier);
        type(QStringLiteral("12"));
        tab();
        t.msg.clear();

        // Save now: the registered office is still empty.
        QTest::keyClick(focused(), Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, comune sede legale richiesto."));
        QCOMPARE(focused(), f.fields()->focusTarget(fields::position(sa1::fieldTable(), QStringLiteral("slPrvIstat"))));

        // Copy the local unit into the registered office.
        QTest::keyClick(focused(), Qt::Key_U, Qt::ControlModifier);
        QCOMPARE(f.findChild<QLineEdit *>(QStringLiteral("slProv"))->text(), QStringLiteral("MI"));
        QCOMPARE(qobject_cast<QLineEdit *>(f.fields()->control(QStringLiteral("slVia")))->text(), QStringLiteral("VIA ROMA"));
        QCOMPARE(qobject_cast<QLineEdit *>(f.fields()->control(QStringLiteral("slCap")))->text(), QStringLiteral("20100"));

        t.msg.clear();
        QTest::keyClick(focused(), Qt::Key_V, Qt::AltModifier); // access key of "Salva"
        QTRY_COMPARE(t.msg.last(), QStringLiteral("Attenzione, campo cognome legale rappresentante richiesto."));
        QCOMPARE(focused(), f.fields()->control(QStringLiteral("saCognome")));
        type(QStringLiteral("rossi"));
        tab();
        type(QStringLiteral("mario"));
        tab();
        t.msg.answer({false}); // date in another year: No accepts it
        type(QStringLiteral("31122018"));
        tab();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, verificare la data della dichiarazione."));
        QCOMPARE(focused(), f.fields()->control(QStringLiteral("saAnnulla")));
        QTest::keyClick(focused(), Qt::Key_Space);
        tab();
        type(QStringLiteral("01012019")); // later than the declaration date
        t.msg.clear();
        QTest::keyClick(focused(), Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, data precedente dichiarazione > data dichiarazione."));
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 0);
        QTest::keyClick(focused(), Qt::Key_Home);
        type(QStringLiteral("31122018"));
        t.msg.clear();
        QTest::keyClick(focused(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|')));
        QVERIFY(f.currentKey() > 0);
        QVERIFY(!f.saveButton()->isEnabled());
        shot(f, "sa1");

        // Reopen and find the values.
        const qint64 id = f.currentKey();
        t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(id));
        Sa1Form g(*t.ctx);
        QCOMPARE(g.currentKey(), id);
        const fields::Record r = g.fields()->record();
        QCOMPARE(r.value(QStringLiteral("CodFisc")).toString(), QStringLiteral("00488410010"));
        QCOMPARE(r.value(QStringLiteral("RagSoc")).toString(), QStringLiteral("DITTA DELL'ORSO"));
        QCOMPARE(r.value(QStringLiteral("REA")).toLongLong(), 123456789LL);
        QCOMPARE(r.value(QStringLiteral("Civico")).toString(), QStringLiteral("1A"));
        QCOMPARE(r.value(QStringLiteral("Telefono")).toString(), QStringLiteral("1234567"));
        QCOMPARE(r.value(QStringLiteral("attIstat")).toString(), QStringLiteral("381100"));
        QCOMPARE(r.value(QStringLiteral("Addetti")).toLongLong(), 105LL);
        QCOMPARE(r.value(QStringLiteral("Mesi")).toLongLong(), 12LL);
        QCOMPARE(r.value(QStringLiteral("slComIstat")).toInt(), 146);
        QCOMPARE(r.value(QStringLiteral("saDataComp")).toString(), QStringLiteral("2018-12-31"));
        QCOMPARE(r.value(QStringLiteral("saDataPrec")).toString(), QStringLiteral("2018-12-31"));
        QCOMPARE(r.value(QStringLiteral("saAnnulla")).toInt(), 1);
        QCOMPARE(qobject_cast<ui::ActivityBox *>(g.fields()->control(QStringLiteral("attIstat")))->edit()->text(),
                 QStringLiteral("38.11.00"));

        // A change and then leaving asks; No discards.
        g.show();
        QVERIFY(QTest::qWaitForWindowActive(&g));
        g.fields()->focusField(1);
        type(QStringLiteral("X"));
        QVERIFY(g.saveButton()->isEnabled());
        t.msg.clear();
        QVERIFY(g.close());
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione dati cambiati, vuoi salvarli?")});
        QCOMPARE(sa1::load(*t.ctx, id).value(QStringLiteral("RagSoc")).toString(), QStringLiteral("DITTA DELL'ORSO"));
    }

    void newLocalUnitKeepsTheCompany()
    {
        const qint64 id = t.db->scalar(QStringLiteral("SELECT MAX(saID) FROM SezAnag")).toLongLong();
        QVERIFY(id > 0);
        t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(id));
        Sa1Form f(*t.ctx);
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        f.newLocalUnit();
        QCOMPARE(f.currentKey(), 0);
        const fields::Record r = f.fields()->record();
        QCOMPARE(r.value(QStringLiteral("CodFisc")).toString(), QStringLiteral("00488410010"));
        QCOMPARE(r.value(QStringLiteral("slVia")).toString(), QStringLiteral("VIA ROMA"));
        QVERIFY(r.value(QStringLiteral("Via")).toString().isEmpty());
        QCOMPARE(r.value(QStringLiteral("comIstat")).toInt(), 0);
        QVERIFY(f.saveButton()->isEnabled());
        t.msg.clear();
        QVERIFY(f.close()); // the question is asked, No: nothing saved
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione dati cambiati, vuoi salvarli?")});
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 1);
    }

    void companyRegister()
    {
        anag::Company a;
        a.codFisc = QStringLiteral("RSSMRA85T10A562S");
        a.ragSoc = QStringLiteral("ALFA");
        a.prvIstat = 15;
        a.comIstat = 146;
        anag::Company b = a;
        b.codFisc = QStringLiteral("00488410010");
        b.ragSoc = QStringLiteral("BETA");
        b.prvIstat = 0;
        QCOMPARE(anag::registerCounterpart(*t.db, a), anag::Registered::Added);
        QCOMPARE(anag::registerCounterpart(*t.db, b), anag::Registered::Added);

        Anagrafiche w(*t.ctx);
        w.resize(900, 560);
        w.show();
        QVERIFY(QTest::qWaitForWindowActive(&w));
        QCOMPARE(w.list()->topLevelItemCount(), 2);
        QCOMPARE(w.list()->topLevelItem(0)->text(4), QStringLiteral("MILANO"));
        QCOMPARE(w.list()->topLevelItem(1)->text(4), QString());
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_Return); // edit ALFA
        QVERIFY(w.editing());
        QVERIFY(!w.list()->isEnabled());
        QCOMPARE(focused(), w.editor()->control(QStringLiteral("RagSoc")));
        type(QStringLiteral(" SRL"));
        shot(w, "anagrafiche");
        t.msg.answer({true});
        QVERIFY(w.closeEdit());
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione dati cambiati, vuoi salvarli?"));
        QCOMPARE(anag::readCompany(*t.db, a.codFisc)->ragSoc, QStringLiteral("ALFA SRL"));
        QVERIFY(w.list()->isEnabled());

        t.msg.clear();
        t.msg.answer({true, true});
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_Delete);
        QCOMPARE(t.msg.texts().first(), QStringLiteral("Elimino Elimino ditta: ALFA SRL\nsei sicuro?"));
        QCOMPARE(w.list()->topLevelItemCount(), 1);
        QVERIFY(w.list()->currentItem());
        w.deleteSelected();
        QCOMPARE(w.list()->topLevelItemCount(), 0);
        QVERIFY(!w.list()->currentItem());
        QVERIFY(!w.editButton()->isEnabled());
        QVERIFY(!w.deleteButton()->isEnabled());
    }

    void companyChosenFromTheRegister()
    {
        anag::Company c;
        c.codFisc = QStringLiteral("RSSMRA85T10A562S");
        c.ragSoc = QStringLiteral("MARIO ROSSI");
        c.via = QStringLiteral("VIA VERDI");
        c.cap = QStringLiteral("20100");
        c.prvIstat = 15;
        c.comIstat = 146;
        QCOMPARE(anag::registerCounterpart(*t.db, c), anag::Registered::Added);
        t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("0"));
        Sa1Form f(*t.ctx);
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        bool seen = false;
        QTimer::singleShot(0, this, [&seen] {
            QWidget *dlg = QApplication::activeModalWidget();
            auto *reg = dlg ? dlg->findChild<Anagrafiche *>() : nullptr;
            if (!reg)
                return;
            seen = reg->list()->topLevelItemCount() == 1;
            QTest::keyClick(reg->list(), Qt::Key_Return); // Enter chooses in pick mode
        });
        QTest::keyClick(focused(), Qt::Key_F3);
        QVERIFY(seen);
        const fields::Record r = f.fields()->record();
        QCOMPARE(r.value(QStringLiteral("CodFisc")).toString(), c.codFisc);
        QCOMPARE(r.value(QStringLiteral("RagSoc")).toString(), c.ragSoc);
        QCOMPARE(r.value(QStringLiteral("slVia")).toString(), c.via);
        QCOMPARE(r.value(QStringLiteral("slComIstat")).toInt(), 146);
        QVERIFY(r.value(QStringLiteral("Via")).toString().isEmpty());
        QVERIFY(f.saveButton()->isEnabled());
        QCOMPARE(f.focusWidget(), f.fields()->control(QStringLiteral("REA")));
    }

    void userData()
    {
        QVERIFY(t.db->execute(QStringLiteral("DELETE FROM Setup")));
        Registra w(*t.ctx);
        w.resize(760, 360);
        w.show();
        QVERIFY(QTest::qWaitForWindowActive(&w));
        QVERIFY(!w.importBox()->isVisible()); // no previous-year database
        QCOMPARE(focused(), w.editor()->control(QStringLiteral("codFisc")));
        type(QStringLiteral("rssmra85t10a562x"));
        t.msg.answer({false});
        tab();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice fiscale errato,\rconfermi codice digiato?"));
        QCOMPARE(t.msg.beeps, 1);
        QTest::keyClick(focused(), Qt::Key_Backspace);
        type(QStringLiteral("S"));
        tab();
        type(QStringLiteral("studio verdi"));
        QVERIFY(w.saveButton()->isEnabled());
        QVERIFY2(w.save(), qPrintable(t.msg.texts().join(u'|')));
        QVERIFY(w.save());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM Setup")).toInt(), 1);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT RagSoc FROM Setup")).toString(), QStringLiteral("STUDIO VERDI"));
        shot(w, "registra");
    }

    void userDataFromThePreviousYear()
    {
        const QString prev = t.dir.filePath(QStringLiteral("Qor2018.db"));
        QString error;
        QVERIFY(refdata::createDatabase(prev, qorClass::refdataFolder(), &error));
        {
            QSqlError e;
            QVERIFY(dbClass::openStore(prev, QStringLiteral("seed"), false, &e));
            QSqlQuery q(QSqlDatabase::database(QStringLiteral("seed")));
            QVERIFY(q.exec(QStringLiteral("INSERT INTO Setup (codFisc, RagSoc, cap, email) VALUES "
                                          "('00488410010', 'STUDIO ANNO SCORSO', '20100', 'a@b.it')")));
        }
        dbClass::closeStore(QStringLiteral("seed"));
        t.db->setPreviousPath(prev);
        QVERIFY(t.db->connect());
        QVERIFY(t.db->isPreviousOpen());
        QVERIFY(t.db->execute(QStringLiteral("DELETE FROM Setup")));

        Registra w(*t.ctx);
        QVERIFY(!w.importBox()->isHidden());
        QVERIFY(w.editor()->record().value(QStringLiteral("RagSoc")).toString().isEmpty());
        w.importBox()->setChecked(true);
        QCOMPARE(w.editor()->record().value(QStringLiteral("RagSoc")).toString(), QStringLiteral("STUDIO ANNO SCORSO"));
        QVERIFY(w.saveButton()->isEnabled());
        QVERIFY(w.save());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT email FROM Setup")).toString(), QStringLiteral("a@b.it"));
        QVERIFY(w.importBox()->isHidden());

        // With a row of its own the box is not offered.
        Registra again(*t.ctx);
        QVERIFY(again.importBox()->isHidden());
    }
};

QTEST_MAIN(TestSa1Gui)
#include "test_sa1_gui.moc"
