// The waste forms driven from the keyboard, offscreen: a complete scheda RIF
// with one module of each type, closed, reopened and found again, then
// deleted; scheda INT and SA-AUT. QOR_SHOTS=folder saves a picture of each
// form there.

#include "../testdb.h"
#include "sections/codes.h"
#include "sections/int/int.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "sections/saaut/gui/saautform.h"
#include "sections/saaut/saaut.h"
#include "sections/anag/gui/sa1form.h"
#include "sections/anag/sa1.h"
#include "ui/controls.h"
#include "ui/fieldform.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTreeWidget>

using wastegui::ModuleForm;
using wastegui::SchedaForm;

namespace {

QWidget *focused() { return QApplication::focusWidget(); }
void type(const QString &text) { QTest::keyClicks(focused(), text); }
void tab() { QTest::keyClick(focused(), Qt::Key_Tab); }
void key(Qt::Key k, Qt::KeyboardModifiers m = Qt::NoModifier) { QTest::keyClick(focused(), k, m); }
void save() { key(Qt::Key_S, Qt::ControlModifier); }

void shot(QWidget &w, const char *name)
{
    const QString dir = qEnvironmentVariable("QOR_SHOTS");
    if (!dir.isEmpty())
        w.grab().save(dir + u'/' + QString::fromLatin1(name) + QStringLiteral(".png"));
}

// Puts the cursor in a field, as a click or a mnemonic would.
void go(ui::RecordForm &f, const char *name)
{
    const int p = fields::position(f.fields()->table(), QString::fromLatin1(name));
    QVERIFY2(p >= 0, name);
    f.fields()->focusField(p);
}

// Replaces what the field shows with the typed text.
void typeIn(ui::RecordForm &f, const char *name, const QString &text)
{
    go(f, name);
    key(Qt::Key_A, Qt::ControlModifier);
    type(text);
}

// A quantity: the amount, then the unit chosen from the keyboard.
void quantity(ui::RecordForm &f, const char *name, const QString &amount, bool tonnes = false)
{
    typeIn(f, name, amount);
    tab();
    key(tonnes ? Qt::Key_T : Qt::Key_K);
}

QVariant field(ui::RecordForm &f, const char *name) { return f.fields()->record().value(QString::fromLatin1(name)); }

bool activate(QWidget &w)
{
    w.show();
    QApplication::setActiveWindow(&w);
    return QTest::qWaitForWindowActive(&w);
}

// Chooses an entry of a drop-down list by typing its beginning.
void choose(QComboBox *list, const QString &text)
{
    list->setFocus();
    QTest::keyClicks(list, text);
}

} // namespace

class TestWasteGui : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;

    qint64 rows(const QString &sql, const QVariantList &p = {}) { return t.db->scalar(sql, p).toLongLong(); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                                          {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")}});
        t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(saID));
    }
    void init() { t.msg.clear(); }

    void completeSchedaRifFromTheKeyboard()
    {
        qint64 rifID = 0;
        {
            std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
            auto &f = *static_cast<SchedaForm *>(w.get());
            QVERIFY(activate(f));
            QCOMPARE(f.currentKey(), 0);
            QVERIFY(!f.moduleButton(QStringLiteral("RT"))->isEnabled());
            QVERIFY(!f.saveButton()->isEnabled());

            // An unknown code keeps the cursor in the field.
            go(f, "rifCod");
            type(QStringLiteral("999999"));
            tab();
            QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto non trovato: 999999"));
            QCOMPARE(focused(), f.fields()->control(QStringLiteral("rifCod")));
            key(Qt::Key_A, Qt::ControlModifier);
            type(QStringLiteral("191212"));
            tab();
            QVERIFY(!f.description()->text().isEmpty());
            QVERIFY(f.saveButton()->isEnabled());

            // A state flag with the space bar, the quantities with their units.
            f.fields()->control(QStringLiteral("sfSolidoNP"))->setFocus();
            key(Qt::Key_Space);
            quantity(f, "qtaTerzi", QStringLiteral("1000"));
            quantity(f, "qtaCons", QStringLiteral("1,5"), true);
            quantity(f, "qtaRec", QStringLiteral("250,125"));
            shot(f, "scheda_rif");
            save();
            rifID = f.currentKey();
            QVERIFY(rifID > 0);
            QVERIFY(!f.saveButton()->isEnabled());
            QVERIFY(f.moduleButton(QStringLiteral("MG"))->isEnabled());
            QCOMPARE(f.navigator()->caption(), QStringLiteral("Scheda RIF 1 di 1"));

            // RT: a company from Italy.
            {
                ModuleForm *m = f.openModule(rif::module(codes::RT));
                QVERIFY(m);
                QVERIFY(activate(*m));
                // The battery frame is closed for this code, the urban-origin flag open.
                QVERIFY(!m->fields()->control(QStringLiteral("disc191"))->isEnabled());
                QVERIFY(m->fields()->control(QStringLiteral("discDep"))->isEnabled());
                QVERIFY(!m->fields()->control(QStringLiteral("qtaDep"))->isEnabled());
                typeIn(*m, "CodFisc", QStringLiteral("00488410010"));
                tab();
                type(QStringLiteral("FORNITORE SRL"));
                typeIn(*m, "prvIstat", QStringLiteral("MILANO"));
                tab();
                typeIn(*m, "Via", QStringLiteral("VIA DANTE"));
                typeIn(*m, "Cap", QStringLiteral("20121"));
                quantity(*m, "qtaMod", QStringLiteral("1000"));
                m->fields()->control(QStringLiteral("discDep"))->setFocus();
                key(Qt::Key_Space);
                shot(*m, "modulo_rt");
                save();
                QVERIFY2(m->currentKey() > 0, qPrintable(t.msg.last()));
                m->closeButton()->click();
            }
            // DR: a destination abroad, with the activity at destination.
            {
                ModuleForm *m = f.openModule(rif::module(codes::DR));
                QVERIFY(activate(*m));
                typeIn(*m, "CodFisc", QStringLiteral("FR40303265045"));
                t.msg.answer({true}); // a foreign tax code: confirmed as typed
                tab();
                QVERIFY(t.msg.last().startsWith(QStringLiteral("Attenzione, codice fiscale formalmente errato")));
                type(QStringLiteral("DESTINATION SA"));
                auto *abroad = m->fields()->control(QStringLiteral("estero"))->findChildren<QRadioButton *>().at(1);
                abroad->setFocus();
                key(Qt::Key_Space);
                QVERIFY(m->countryList()->isEnabled());
                QVERIFY(!m->fields()->control(QStringLiteral("Via"))->isEnabled());
                choose(m->countryList(), QStringLiteral("FRANCIA"));
                QCOMPARE(m->countryList()->currentText(), QStringLiteral("FRANCIA"));
                quantity(*m, "qtaMod", QStringLiteral("1,5"), true);
                quantity(*m, "qtaDep", QStringLiteral("1500"));
                shot(*m, "modulo_dr");
                save();
                QVERIFY2(m->currentKey() > 0, qPrintable(t.msg.last()));
                m->closeButton()->click();
            }
            // TE: a carrier.
            {
                ModuleForm *m = f.openModule(rif::module(codes::TE));
                QVERIFY(activate(*m));
                typeIn(*m, "CodFisc", QStringLiteral("00488410010"));
                tab();
                type(QStringLiteral("TRASPORTI SPA"));
                save();
                QVERIFY2(m->currentKey() > 0, qPrintable(t.msg.last()));
                QCOMPARE(m->table()->topLevelItemCount(), 1);
                shot(*m, "modulo_te");
                m->closeButton()->click();
            }
            // MG: plant type, a recovery row, a landfill quantity with its class.
            {
                t.msg.clear();
                ModuleForm *m = f.openModule(rif::module(codes::MG));
                QVERIFY(activate(*m));
                QVERIFY(t.msg.shown.isEmpty()); // 191212: no packaging or electrical notice
                m->plantList()->setFocus();
                for (int i = 0; i < codes::PlantRiservaR13; ++i)
                    key(Qt::Key_Down);
                QCOMPARE(field(*m, "Privati").toInt(), int(codes::PlantRiservaR13));
                auto *r13 = m->findChild<ui::QtyBox *>(QStringLiteral("opR13"));
                QVERIFY(r13);
                m->tabs()->setCurrentIndex(0);
                r13->amount()->setFocus();
                type(QStringLiteral("800"));
                m->tabs()->setCurrentIndex(1);
                quantity(*m, "qtaDep", QStringLiteral("200"));
                shot(*m, "modulo_mg");
                // Quantity without its class: refused with the message.
                save();
                QCOMPARE(t.msg.last(), QStringLiteral("Attenzione,\nè stata inserita una quantità in discarica senza "
                                                      "indicare la relativa classificazione."));
                QCOMPARE(m->currentKey(), 0);
                m->fields()->control(QStringLiteral("discDep"))->findChildren<QRadioButton *>().at(1)->setFocus();
                key(Qt::Key_Space);
                save();
                QVERIFY2(m->currentKey() > 0, qPrintable(t.msg.last()));
                m->closeButton()->click();
            }
            // RE: municipality, activity, quantity.
            {
                ModuleForm *m = f.openModule(rif::module(codes::RE));
                QVERIFY(activate(*m));
                typeIn(*m, "prvIstat", QStringLiteral("TORINO"));
                tab();
                m->fields()->control(QStringLiteral("Privati"))->findChildren<QRadioButton *>().at(2)->setFocus();
                key(Qt::Key_Space);
                quantity(*m, "qtaMod", QStringLiteral("42"));
                save();
                QVERIFY2(m->currentKey() > 0, qPrintable(t.msg.last()));
                shot(*m, "modulo_re");
                m->closeButton()->click();
            }
            f.closeButton()->click();
        }
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM ModRif WHERE (rifID = ?)"), {rifID}), 5);

        // Reopened: the scheda and every module as entered.
        std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
        auto &f = *static_cast<SchedaForm *>(w.get());
        QVERIFY(activate(f));
        QCOMPARE(f.currentKey(), rifID);
        QCOMPARE(field(f, "rifCod").toString(), QStringLiteral("191212"));
        QCOMPARE(field(f, "sfSolidoNP").toInt(), 1);
        QCOMPARE(field(f, "sfSolidoP").toInt(), 0);
        QCOMPARE(field(f, "qtaTerzi").toLongLong(), 1000000LL);
        QCOMPARE(field(f, "qtaCons").toLongLong(), 1500LL);
        QCOMPARE(field(f, "umiCons").toInt(), 2);
        QCOMPARE(field(f, "qtaRec").toLongLong(), 250125LL);
        {
            ModuleForm *m = f.openModule(rif::module(codes::RT));
            QCOMPARE(field(*m, "RagSoc").toString(), QStringLiteral("FORNITORE SRL"));
            QCOMPARE(field(*m, "comIstat").toInt(), 146);
            QCOMPARE(field(*m, "Cap").toString(), QStringLiteral("20121"));
            QCOMPARE(field(*m, "discDep").toInt(), 1);
            QCOMPARE(m->navigator()->caption(), QStringLiteral("Modulo 1 di 1"));
            m->close();
        }
        {
            ModuleForm *m = f.openModule(rif::module(codes::DR));
            QCOMPARE(field(*m, "estero").toInt(), int(waste::SideEstero));
            QCOMPARE(m->countryList()->currentText(), QStringLiteral("FRANCIA"));
            QCOMPARE(field(*m, "qtaDep").toLongLong(), 1500000LL);
            m->close();
        }
        {
            ModuleForm *m = f.openModule(rif::module(codes::MG));
            QCOMPARE(m->plantList()->currentData().toInt(), int(codes::PlantRiservaR13));
            QCOMPARE(m->findChild<ui::QtyBox *>(QStringLiteral("opR13"))->amount()->value().toLongLong(), 800000LL);
            QCOMPARE(field(*m, "discDep").toInt(), 2);
            m->close();
        }
        {
            ModuleForm *m = f.openModule(rif::module(codes::RE));
            QCOMPARE(field(*m, "comIstat").toInt(), 272);
            QCOMPARE(field(*m, "Privati").toInt(), 3);
            QCOMPARE(m->table()->topLevelItem(0)->text(2), QStringLiteral("manutenzioni"));
            m->close();
        }
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM Ditte WHERE (CodFisc = ?)"), {QStringLiteral("FR40303265045")}), 1);

        // Deleted with everything that hangs from it.
        t.msg.answer({true});
        f.deleteButton()->click();
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino scheda RIF e relativi moduli,\nsei sicuro?"));
        QCOMPARE(f.currentKey(), 0);
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM SezRif WHERE (saID = ?)"), {saID}), 0);
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM ModRif")), 0);
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM RecRif")), 0);
    }

    void summaryBesideSa1FollowsTheModules()
    {
        Sa1Form sa1(*t.ctx);
        QCOMPARE(sa1.currentKey(), saID);
        int rt = -1;
        const auto lines = sa1::summary(*t.ctx, saID);
        for (int i = 0; i < lines.size(); ++i)
            if (lines[i].what == QLatin1String("Moduli RT"))
                rt = i;
        QVERIFY(rt >= 0);
        const QString before = sa1.summaryCounts().at(rt)->text();

        std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
        auto &f = *static_cast<SchedaForm *>(w.get());
        QVERIFY(activate(f));
        f.newButton()->click();
        typeIn(f, "rifCod", QStringLiteral("200301"));
        tab();
        f.fields()->control(QStringLiteral("sfAltro"))->setFocus();
        key(Qt::Key_Space);
        quantity(f, "qtaTerzi", QStringLiteral("5"));
        save();
        QVERIFY(f.currentKey() > 0);
        ModuleForm *m = f.openModule(rif::module(codes::RT));
        QVERIFY(activate(*m));
        m->fields()->control(QStringLiteral("Privati"))->setFocus();
        key(Qt::Key_Space);
        typeIn(*m, "prvIstat", QStringLiteral("TORINO"));
        tab();
        quantity(*m, "qtaMod", QStringLiteral("5"));
        save();
        QVERIFY2(m->currentKey() > 0, qPrintable(t.msg.last()));
        QCOMPARE(sa1.summaryCounts().at(rt)->text(), QString::number(before.toInt() + 1));
        m->close();
    }

    void leavingAChangedSchedaAsks()
    {
        std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
        auto &f = *static_cast<SchedaForm *>(w.get());
        QVERIFY(activate(f));
        f.newButton()->click();
        typeIn(f, "rifCod", QStringLiteral("170405"));
        tab();
        f.fields()->control(QStringLiteral("sfLiquido"))->setFocus();
        key(Qt::Key_Space);
        // Closing a changed scheda: Yes saves it, after the no-quantity question.
        t.msg.clear();
        t.msg.answer({true, true});
        QVERIFY(f.close());
        QCOMPARE(t.msg.shown.size(), 2);
        QCOMPARE(t.msg.shown.at(0).text, QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?"));
        QCOMPARE(t.msg.shown.at(1).text, QStringLiteral("Attenzione, nessuna quantità inserita, salvo lo stesso la scheda?"));
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM SezRif WHERE (saID = ? AND rifCod = '170405')"), {saID}), 1);
    }

    void privateModuleRedirect()
    {
        const qint64 rifID = waste::save(*t.ctx, rif::spec(), saID, 0,
                                         [] {
                                             fields::Record r = waste::blank(rif::spec());
                                             r.insert(QStringLiteral("rifCod"), QStringLiteral("200301"));
                                             r.insert(QStringLiteral("sfAltro"), 1);
                                             return r;
                                         }());
        fields::Record p = waste::blank(rif::module(codes::RT));
        p.insert(QStringLiteral("Privati"), 1);
        p.insert(QStringLiteral("prvIstat"), 15);
        p.insert(QStringLiteral("comIstat"), 146);
        p.insert(QStringLiteral("qtaMod"), qlonglong(10));
        const qint64 existing = waste::save(*t.ctx, rif::module(codes::RT), rifID, 0, QStringLiteral("200301"), p);
        ModuleForm m(*t.ctx, rif::module(codes::RT), rifID, QStringLiteral("200301"));
        QVERIFY(activate(m));
        m.newButton()->click();
        m.fields()->control(QStringLiteral("Privati"))->setFocus();
        key(Qt::Key_Space);
        QVERIFY(!m.fields()->control(QStringLiteral("CodFisc"))->isEnabled());
        t.msg.answer({true});
        typeIn(m, "prvIstat", QStringLiteral("MILANO"));
        tab();
        QTRY_COMPARE(m.currentKey(), existing);
        QCOMPARE(t.msg.last(), waste::privateQuestion());
    }

    void schedaIntAndModules()
    {
        std::unique_ptr<QWidget> w(wastegui::makeIntForm(*t.ctx, nullptr));
        auto &f = *static_cast<SchedaForm *>(w.get());
        QVERIFY(activate(f));
        typeIn(f, "rifCod", QStringLiteral("170405"));
        tab();
        save();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, selezionare almeno uno \"STATO FISICO\""));
        f.fields()->control(QStringLiteral("sfSolidoP"))->setFocus();
        key(Qt::Key_Space);
        save();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, quantità richiesta."));
        quantity(f, "intQta", QStringLiteral("12"), true);
        save();
        QVERIFY2(f.currentKey() > 0, qPrintable(t.msg.texts().join(u'|')));
        shot(f, "scheda_int");
        ModuleForm *m = f.openModule(intsec::module(codes::UO));
        QVERIFY(activate(*m));
        QCOMPARE(m->windowTitle(), QStringLiteral("Modulo UO - Elenco Unità Locali di origine del rifiuto"));
        typeIn(*m, "CodFisc", QStringLiteral("00488410010"));
        tab();
        type(QStringLiteral("ORIGINE SRL"));
        typeIn(*m, "prvIstat", QStringLiteral("TORINO"));
        tab();
        typeIn(*m, "Via", QStringLiteral("VIA PO"));
        typeIn(*m, "Cap", QStringLiteral("1012"));
        quantity(*m, "qtaMod", QStringLiteral("12"), true);
        save();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
        typeIn(*m, "Cap", QStringLiteral("10121"));
        save();
        QVERIFY(m->currentKey() > 0);
        shot(*m, "modulo_uo");
        m->close();
        QCOMPARE(rows(QStringLiteral("SELECT COUNT(*) FROM ModInt WHERE (intID = ? AND tipoMod = 1)"), {f.currentKey()}), 1);
    }

    void saAutFromTheKeyboard()
    {
        SaAutForm f(*t.ctx);
        QVERIFY(activate(f));
        typeIn(f, "suEstremi", QStringLiteral(" "));
        save();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione i seguenti dati sono obbligatori:\n"
                                              "Estremi dell'autorizzazione\nData di rilascio\nData di scadenza\n"
                                              "Tipo di autorizzazione\n"
                                              "Operazioni di recupero/smaltimento contenute nell'autorizzazione"));
        QCOMPARE(f.currentKey(), 0);
        key(Qt::Key_A, Qt::ControlModifier);
        type(QStringLiteral("PROT. 123/2016"));
        typeIn(f, "suDataRil", QStringLiteral("01/03/2016"));
        typeIn(f, "suDataScad", QStringLiteral("28/02/2026"));
        choose(f.enteList(), QStringLiteral("Reg"));
        f.tipoList()->setFocus();
        for (int i = 0; i < 5; ++i)
            key(Qt::Key_Down);
        f.recovery().at(12)->setFocus();
        key(Qt::Key_Space);
        f.disposal().at(0)->setFocus();
        key(Qt::Key_Space);
        f.landfill(2)->setFocus();
        key(Qt::Key_Space);
        typeIn(f, "crQta2", QStringLiteral("15000"));
        shot(f, "scheda_saaut");
        save();
        QVERIFY2(f.currentKey() > 0, qPrintable(t.msg.last()));
        const fields::Record r = saaut::load(*t.ctx, f.currentKey());
        QCOMPARE(r.value(QStringLiteral("suRecupero")).toString(), QStringLiteral("0000000000001"));
        QCOMPARE(r.value(QStringLiteral("suSmaltimento")).toString(), QStringLiteral("100000000000000"));
        QCOMPARE(r.value(QStringLiteral("suEnte")).toInt(), 2);
        QCOMPARE(r.value(QStringLiteral("suTipo")).toInt(), 5);
        QCOMPARE(r.value(QStringLiteral("crClass2")).toInt(), int(codes::LandfillNonPericolosi));
        QCOMPARE(r.value(QStringLiteral("crQta2")).toLongLong(), 15000LL);
        QCOMPARE(r.value(QStringLiteral("suDataScad")).toString(), QStringLiteral("2026-02-28"));

        // Reopened on the saved row, with its boxes ticked.
        SaAutForm g(*t.ctx);
        QCOMPARE(g.currentKey(), f.currentKey());
        QVERIFY(g.recovery().at(12)->isChecked());
        QVERIFY(!g.recovery().at(0)->isChecked());
        QVERIFY(g.landfill(2)->isChecked());
        QCOMPARE(g.tipoList()->currentIndex(), 5);
        QVERIFY(!g.saveButton()->isEnabled());
    }
};

QTEST_MAIN(TestWasteGui)
#include "test_waste_gui.moc"
