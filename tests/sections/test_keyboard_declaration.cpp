// A whole declaration entered as a consultant enters it, with key events
// only: SA1 with typed municipalities, a scheda RIF with its RT, DR and MG
// modules, quantities typed with the decimal point. Everything is saved, the
// forms are opened again and every stored value is compared with what was
// typed, field by field of each form's table.

#include "../testdb.h"
#include "sections/anag/gui/sa1form.h"
#include "sections/anag/sa1.h"
#include "sections/codes.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "ui/controls.h"
#include "ui/fieldform.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QCompleter>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTabWidget>

using wastegui::ModuleForm;
using wastegui::SchedaForm;

namespace {

QWidget *focused() { return QApplication::focusWidget(); }
void type(const QString &text) { QTest::keyClicks(focused(), text); }
void key(Qt::Key k, Qt::KeyboardModifiers m = Qt::NoModifier) { QTest::keyClick(focused(), k, m); }
void tab() { key(Qt::Key_Tab); }
void save() { key(Qt::Key_S, Qt::ControlModifier); }
// The module and close buttons are pressed with a click: their access keys
// are being made unique and do not reach them yet on every form.
void press(QPushButton *b) { QTest::mouseClick(b, Qt::LeftButton); }

bool activate(QWidget &w)
{
    w.show();
    QApplication::setActiveWindow(&w);
    return QTest::qWaitForWindowActive(&w);
}

// Tab until the cursor is in the named field, through the fields before it
// left as they are and the buttons on the way; a field after it means the
// chain skipped it.
bool tabTo(ui::RecordForm &f, const char *name)
{
    const fields::Table &t = f.fields()->table();
    const int at = fields::position(t, QString::fromLatin1(name));
    QWidget *target = f.fields()->focusTarget(at);
    for (int i = 0; i < 30; ++i) {
        tab();
        const auto in = [](QWidget *field) { return focused() == field || field->isAncestorOf(focused()); };
        if (in(target))
            return true;
        for (int p = at + 1; p < t.size(); ++p)
            if (in(f.fields()->focusTarget(p))) {
                qWarning("Tab reached %s instead of %s", qPrintable(t[p].name), name);
                return false;
            }
    }
    return false;
}

// Puts the cursor in a field with a mouse click, where the Tab chain of a
// form does not lead there yet (RT and DR loop through the address frame).
void clickInto(QWidget *w)
{
    QTest::mouseClick(w, Qt::LeftButton);
    QTest::keyClick(w, Qt::Key_A, Qt::ControlModifier);
}

// A stored value as text: null is empty.
QString text(const QVariant &v) { return v.isNull() || !v.isValid() ? QString() : v.toString(); }

// Every stored column of a form's table holds what was typed, and every
// column not typed what a new record holds.
void compareStored(const fields::Table &table, const fields::Record &actual, const fields::Record &blank,
                   const fields::Record &typed, const char *what)
{
    for (const fields::Field &f : table) {
        if (!f.stored || f.kind == fields::Kind::Province)
            continue;
        QStringList columns{f.name};
        if (!f.name2.isEmpty())
            columns << f.name2;
        for (const QString &c : columns) {
            const QVariant want = typed.contains(c) ? typed.value(c) : blank.value(c);
            QString w = text(want), a = text(actual.value(c));
            if (f.kind != fields::Kind::Text && f.kind != fields::Kind::Date && f.kind != fields::Kind::Activity) {
                if (w.isEmpty())
                    w = QStringLiteral("0");
                if (a.isEmpty())
                    a = QStringLiteral("0");
            }
            QVERIFY2(a == w, qPrintable(QStringLiteral("%1 %2: stored \"%3\", typed \"%4\"")
                                            .arg(QString::fromLatin1(what), c, a, w)));
        }
    }
}

} // namespace

class TestKeyboardDeclaration : public QObject {
    Q_OBJECT
    TestDb t;

    fields::Record storedRow(const fields::Table &table, const QString &sql, qint64 key)
    {
        QSqlQuery q = t.db->query(sql, {key});
        QVariantMap row;
        if (q.next())
            for (int i = 0; i < q.record().count(); ++i)
                row.insert(q.record().fieldName(i), q.value(i));
        return fields::fromStore(table, row);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }

    void wholeDeclaration()
    {
        using R = fields::Record;
        const auto s = [](const char *v) { return QVariant(QString::fromUtf8(v)); };
        const auto n = [](qlonglong v) { return QVariant(v); };

        // ---- SA1 ----
        const R sa1Typed{{QStringLiteral("CodFisc"), s("00488410010")},
                         {QStringLiteral("RagSoc"), s("DITTA DELL'ORSO SRL")},
                         {QStringLiteral("REA"), n(123456)},
                         {QStringLiteral("prvIstat"), n(58)},
                         {QStringLiteral("comIstat"), n(91)},
                         {QStringLiteral("Via"), s("VIA APPIA NUOVA")},
                         {QStringLiteral("Civico"), s("12B")},
                         {QStringLiteral("Cap"), s("00100")}, // from the municipality
                         {QStringLiteral("PrefTel"), s("06")},
                         {QStringLiteral("Telefono"), s("7654321")},
                         {QStringLiteral("attIstat"), s("381100")},
                         {QStringLiteral("Addetti"), n(7)},
                         {QStringLiteral("Mesi"), n(12)},
                         {QStringLiteral("slPrvIstat"), n(98)},
                         {QStringLiteral("slComIstat"), n(50)},
                         {QStringLiteral("slVia"), s("CORSO ITALIA")},
                         {QStringLiteral("slCivico"), s("1")},
                         {QStringLiteral("slCap"), s("26866")},
                         {QStringLiteral("saCognome"), s("ROSSI")},
                         {QStringLiteral("saNome"), s("MARIA")},
                         {QStringLiteral("saDataComp"), s("2019-03-15")}};
        qint64 saID = 0;
        {
            Sa1Form f(*t.ctx);
            f.resize(1300, 760);
            QVERIFY(activate(f));
            f.fields()->focusField(0);
            type(QStringLiteral("00488410010"));
            QVERIFY(tabTo(f, "RagSoc"));
            type(QStringLiteral("ditta dell'orso srl"));
            QVERIFY(tabTo(f, "REA"));
            type(QStringLiteral("123456"));
            QVERIFY(tabTo(f, "prvIstat"));
            type(QStringLiteral("roma")); // the exact name, among ROMA, ROMAGNANO SESIA, ...
            QVERIFY(tabTo(f, "Via"));
            type(QStringLiteral("via appia nuova"));
            QVERIFY(tabTo(f, "Civico"));
            type(QStringLiteral("12b"));
            QVERIFY(tabTo(f, "Cap"));
            QVERIFY(tabTo(f, "PrefTel"));
            type(QStringLiteral("06"));
            QVERIFY(tabTo(f, "Telefono"));
            type(QStringLiteral("7654321"));
            QVERIFY(tabTo(f, "attIstat"));
            type(QStringLiteral("381100"));
            QVERIFY(tabTo(f, "Addetti"));
            type(QStringLiteral("7"));
            QVERIFY(tabTo(f, "Mesi"));
            type(QStringLiteral("12"));
            QVERIFY(tabTo(f, "slPrvIstat"));
            type(QStringLiteral("sant'angelo lod")); // the only one so named
            QTRY_VERIFY(qobject_cast<ui::ComboCom *>(f.fields()->control(QStringLiteral("slPrvIstat")))
                            ->completer()->popup()->isVisible());
            QTest::keyClick(qobject_cast<ui::ComboCom *>(f.fields()->control(QStringLiteral("slPrvIstat")))
                                ->completer()->popup(),
                            Qt::Key_Return);
            QCOMPARE(focused(), f.fields()->control(QStringLiteral("slVia")));
            type(QStringLiteral("corso italia"));
            QVERIFY(tabTo(f, "slCivico"));
            type(QStringLiteral("1"));
            QVERIFY(tabTo(f, "slCap"));
            QVERIFY(tabTo(f, "slPrefTel"));
            QVERIFY(tabTo(f, "slTelefono"));
            QVERIFY(tabTo(f, "saCognome"));
            type(QStringLiteral("rossi"));
            QVERIFY(tabTo(f, "saNome"));
            type(QStringLiteral("maria"));
            QVERIFY(tabTo(f, "saDataComp"));
            type(QStringLiteral("15032019"));
            save();
            QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|')));
            saID = f.currentKey();
            QVERIFY(saID > 0);
        }
        // The declaration just saved becomes the current one, as the main
        // window makes it.
        t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(saID));

        // ---- Scheda RIF and its modules ----
        const R rifTyped{{QStringLiteral("rifCod"), s("170405")},
                         {QStringLiteral("sfSolidoNP"), n(1)},
                         {QStringLiteral("qtaProd"), n(1250750)},
                         {QStringLiteral("umiProd"), n(1)},
                         {QStringLiteral("qtaTerzi"), n(12500)},
                         {QStringLiteral("umiTerzi"), n(2)},
                         {QStringLiteral("qtaCons"), n(1500)},
                         {QStringLiteral("umiCons"), n(2)},
                         {QStringLiteral("qtaRec"), n(11000)},
                         {QStringLiteral("umiRec"), n(2)}};
        const R rtTyped{{QStringLiteral("CodFisc"), s("00488410010")},
                        {QStringLiteral("RagSoc"), s("FORNITORE SRL")},
                        {QStringLiteral("prvIstat"), n(15)},
                        {QStringLiteral("comIstat"), n(146)},
                        {QStringLiteral("Via"), s("VIA DANTE")},
                        {QStringLiteral("Civico"), s("7")},
                        {QStringLiteral("Cap"), s("20100")},
                        {QStringLiteral("qtaMod"), n(12500)},
                        {QStringLiteral("umiMod"), n(2)}};
        const R drTyped{{QStringLiteral("CodFisc"), s("00488410010")},
                        {QStringLiteral("RagSoc"), s("ACCIAIERIA SPA")},
                        {QStringLiteral("prvIstat"), n(1)},
                        {QStringLiteral("comIstat"), n(272)},
                        {QStringLiteral("Via"), s("VIA PO")},
                        {QStringLiteral("Cap"), s("10100")},
                        {QStringLiteral("qtaMod"), n(1500)},
                        {QStringLiteral("umiMod"), n(2)}};
        const R mgTyped{{QStringLiteral("Privati"), n(codes::PlantRiservaR13)},
                        {QStringLiteral("qtaMod"), n(500000)},
                        {QStringLiteral("umiMod"), n(1)}};
        qint64 rifID = 0;
        {
            std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
            auto &f = *static_cast<SchedaForm *>(w.get());
            QVERIFY(activate(f));
            f.fields()->focusField(0);
            type(QStringLiteral("170405"));
            QVERIFY(tabTo(f, "sfSolidoNP"));
            key(Qt::Key_Space);
            const auto quantity = [&f](const char *name, const QString &amount, Qt::Key unit) {
                QVERIFY(tabTo(f, name));
                type(amount);
                tab();
                QCOMPARE(focused(), qobject_cast<ui::QtyBox *>(f.fields()->control(QString::fromLatin1(name)))->unit());
                key(unit);
            };
            quantity("qtaProd", QStringLiteral("1250.75"), Qt::Key_K);
            quantity("qtaTerzi", QStringLiteral("12.5"), Qt::Key_T);
            quantity("qtaCons", QStringLiteral("1.5"), Qt::Key_T);
            quantity("qtaRec", QStringLiteral("11"), Qt::Key_T);
            save();
            QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|')));
            rifID = f.currentKey();
            QVERIFY(rifID > 0);

            // RT and DR: a counterpart in Italy and the quantity in tonnes.
            QPointer<ModuleForm> m;
            const auto counterpart = [&](const char *code, const char *name, const char *town, const char *street,
                                         const char *number, const char *amount) {
                QVERIFY(activate(f));
                press(f.moduleButton(QString::fromLatin1(code)));
                m = f.findChild<ModuleForm *>(QStringLiteral("Modulo") + QString::fromLatin1(code));
                QVERIFY(m);
                QVERIFY(activate(*m));
                m->fields()->focusField(fields::position(m->fields()->table(), QStringLiteral("CodFisc")));
                type(QStringLiteral("00488410010"));
                QVERIFY(tabTo(*m, "RagSoc"));
                type(QString::fromLatin1(name));
                QVERIFY(tabTo(*m, "prvIstat")); // on the Italian side, chosen for a new module
                type(QString::fromLatin1(town));
                QVERIFY(tabTo(*m, "Via"));
                type(QString::fromLatin1(street));
                if (*number) {
                    QVERIFY(tabTo(*m, "Civico"));
                    type(QString::fromLatin1(number));
                }
                clickInto(qobject_cast<ui::QtyBox *>(m->fields()->control(QStringLiteral("qtaMod")))->amount());
                type(QString::fromLatin1(amount));
                tab();
                key(Qt::Key_T);
                save();
                QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|')));
                QVERIFY(m->currentKey() > 0);
                press(m->closeButton());
                QTRY_VERIFY(!m);
            };
            counterpart("RT", "fornitore srl", "milano", "via dante", "7", "12.5");
            counterpart("DR", "acciaieria spa", "torino", "via po", "", "1.5");

            // MG: the plant type, an R13 row of 11 t, 500 Kg in stock.
            QVERIFY(activate(f));
            press(f.moduleButton(QStringLiteral("MG")));
            m = f.findChild<ModuleForm *>(QStringLiteral("ModuloMG"));
            QVERIFY(m);
            QVERIFY(activate(*m));
            t.msg.clear(); // the notice of the code, if any
            m->plantList()->setFocus(Qt::TabFocusReason); // the first input of the form
            for (int i = 0; i < codes::PlantRiservaR13; ++i)
                key(Qt::Key_Down);
            auto *r13 = m->findChild<ui::QtyBox *>(QStringLiteral("opR13")); // the recovery grid
            QVERIFY(r13);
            clickInto(r13->amount());
            type(QStringLiteral("11.000"));
            tab();
            QCOMPARE(focused(), r13->unit());
            key(Qt::Key_T);
            key(Qt::Key_G, Qt::AltModifier); // the tab "Giacenza al 31/12"
            QCOMPARE(m->tabs()->currentIndex(), 3);
            clickInto(qobject_cast<ui::QtyBox *>(m->fields()->control(QStringLiteral("qtaMod")))->amount());
            type(QStringLiteral("500"));
            save();
            QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|')));
            QVERIFY(m->currentKey() > 0);
            press(m->closeButton());
            QTRY_VERIFY(!m);
        }

        // ---- Stored, and shown again, exactly as typed ----
        compareStored(sa1::fieldTable(), storedRow(sa1::fieldTable(), QStringLiteral("SELECT * FROM SezAnag WHERE saID = ?"), saID),
                      {}, sa1Typed, "SezAnag");
        {
            Sa1Form g(*t.ctx);
            QCOMPARE(g.currentKey(), saID);
            compareStored(sa1::fieldTable(), g.fields()->record(), {}, sa1Typed, "SA1");
        }
        const waste::SchedaKind &sk = rif::scheda();
        compareStored(sk.fields, storedRow(sk.fields, QStringLiteral("SELECT * FROM SezRif WHERE rifID = ?"), rifID),
                      waste::blank(sk), rifTyped, "SezRif");
        std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
        auto &f = *static_cast<SchedaForm *>(w.get());
        QVERIFY(activate(f));
        QCOMPARE(f.currentKey(), rifID);
        compareStored(sk.fields, f.fields()->record(), waste::blank(sk), rifTyped, "scheda RIF");
        const struct {
            int tipo;
            const R &typed;
        } modules[] = {{codes::RT, rtTyped}, {codes::DR, drTyped}, {codes::MG, mgTyped}};
        for (const auto &mod : modules) {
            const waste::ModuleKind &mk = rif::module(mod.tipo);
            const QVector<qint64> ids = waste::ids(*t.ctx, mk, rifID);
            QCOMPARE(ids.size(), 1);
            // What the module holds: the new module with what was typed, the
            // fields its side and code close being written empty.
            R typed = waste::blank(mk);
            for (auto it = mod.typed.begin(); it != mod.typed.end(); ++it)
                typed.insert(it.key(), it.value());
            typed = waste::withClosedCleared(mk, QStringLiteral("170405"), typed);
            compareStored(mk.fields, storedRow(mk.fields, QStringLiteral("SELECT * FROM ModRif WHERE mrID = ?"), ids[0]),
                          {}, typed, qPrintable(QStringLiteral("ModRif ") + mk.code));
            ModuleForm *m = f.openModule(mk);
            QVERIFY(m);
            QCOMPARE(m->currentKey(), ids[0]);
            R shown = typed; // an empty stored quantity is shown as 0 Kg
            fields::defaultQuantities(mk.fields, shown);
            compareStored(mk.fields, m->fields()->record(), {}, shown,
                          qPrintable(QStringLiteral("modulo ") + mk.code));
            if (mk.operations) {
                const QVector<waste::OpRow> ops = waste::loadOperations(*t.ctx, mk, ids[0]);
                QCOMPARE(ops.size(), 1);
                QCOMPARE(ops[0].posizione, int(codes::GridRecupero));
                QCOMPARE(ops[0].codice, QStringLiteral("R13"));
                QCOMPARE(ops[0].qta.toLongLong(), 11000LL);
                QCOMPARE(ops[0].umi, 2);
                QCOMPARE(m->operations().size(), 1);
                QCOMPARE(m->operations()[0].qta.toLongLong(), 11000LL);
            }
            m->close();
        }
    }
};

QTEST_MAIN(TestKeyboardDeclaration)
#include "test_keyboard_declaration.moc"
