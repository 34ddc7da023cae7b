// Entry that never stores a wrong value: what the keyboard and the clipboard
// put in the input controls of every form table, the unit a quantity needs,
// the municipality typed by name.

#include "../testdb.h"
#include "sections/anag/register.h"
#include "sections/anag/sa1.h"
#include "sections/anag/setup.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/int/int.h"
#include "sections/mat/mat.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "sections/saaut/saaut.h"
#include "sections/stream/stream.h"
#include "ui/controls.h"
#include "ui/fieldform.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QCompleter>
#include <QLineEdit>
#include <QTableWidget>

using fields::Field;
using fields::Kind;

namespace {

QWidget *focused() { return QApplication::focusWidget(); }

// Every field table of the program, by the form that shows it.
QVector<QPair<QString, fields::Table>> allTables()
{
    QVector<QPair<QString, fields::Table>> v{
        {QStringLiteral("SA1"), sa1::fieldTable()},
        {QStringLiteral("Anagrafiche"), anag::companyFields()},
        {QStringLiteral("Dati utente"), anag::setupFields()},
        {QStringLiteral("RIF"), rif::scheda().fields},
        {QStringLiteral("INT"), intsec::scheda().fields},
        {QStringLiteral("SA-AUT"), saaut::fieldTable()},
        {QStringLiteral("MAT"), mat::schedaFields()},
        {QStringLiteral("IMB"), imb::schedaFields()},
    };
    for (int t = 1; t <= 5; ++t)
        v.append({rif::module(t).code, rif::module(t).fields});
    for (int t = 1; t <= 2; ++t)
        v.append({intsec::module(t).code, intsec::module(t).fields});
    for (int t : {codes::VfuAut, codes::VfuRot, codes::VfuFra})
        v.append({QStringLiteral("VFU %1").arg(t), stream::vfu(t).fields});
    for (int t : {codes::RaeeTra, codes::RaeeCr})
        v.append({QStringLiteral("RAEE %1").arg(t), stream::raee(t).fields});
    return v;
}

// The first of a few characters the text field takes.
QChar accepted(QLineEdit *e)
{
    for (QChar c : {u'a', u'1', u'A'}) {
        e->clear();
        QTest::keyClick(e, c.toLatin1());
        if (e->text().size() == 1) {
            e->clear();
            return c;
        }
    }
    e->clear();
    return {};
}

} // namespace

class TestSafeEntry : public QObject {
    Q_OBJECT
    TestDb t;

private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }
    void init()
    {
        t.msg.clear();
        QGuiApplication::clipboard()->clear();
    }

    void pastedNumbers_data()
    {
        QTest::addColumn<QString>("pasted");
        QTest::addColumn<int>("digits");
        QTest::addColumn<int>("decimals");
        QTest::addColumn<QString>("typed"); // empty: refused
        QTest::addColumn<QString>("why");   // beginning of the reason
        QTest::newRow("italian") << "1.234,5" << 7 << 3 << "1234,5" << "";
        QTest::newRow("plain point") << "1234.5" << 7 << 3 << "1234,5" << "";
        QTest::newRow("point, two decimals") << "12.50" << 7 << 3 << "12,5" << "";
        QTest::newRow("below one") << "0.125" << 7 << 3 << "0,125" << "";
        QTest::newRow("thousands only") << "1.234.567" << 7 << 3 << "1234567" << "";
        QTest::newRow("blanks and line break") << " 1 234,5 \n" << 7 << 3 << "1234,5" << "";
        QTest::newRow("zeros kept out") << "007,100" << 7 << 3 << "7,1" << "";
        QTest::newRow("whole in an integer") << "12,0" << 2 << 0 << "12" << "";
        QTest::newRow("ambiguous") << "1.234" << 7 << 3 << "" << "Attenzione, numero incollato ambiguo";
        QTest::newRow("bad groups") << "12.34,5" << 7 << 3 << "" << "Attenzione, numero incollato non leggibile";
        QTest::newRow("two commas") << "1,2,3" << 7 << 3 << "" << "Attenzione, numero incollato non leggibile";
        QTest::newRow("point after comma") << "1,234.5" << 7 << 3 << "" << "Attenzione, numero incollato non leggibile";
        QTest::newRow("negative") << "-5" << 7 << 3 << "" << "Attenzione, numero incollato negativo";
        QTest::newRow("words") << "12 kg" << 7 << 3 << "" << "Attenzione, testo incollato non numerico";
        QTest::newRow("decimals in an integer") << "12,5" << 9 << 0 << "" << "Attenzione, numero incollato con decimali";
        QTest::newRow("decimals cut") << "1,2345" << 7 << 3 << "" << "Attenzione, numero incollato con troppi decimali";
        QTest::newRow("too large") << "12345678" << 7 << 3 << "" << "Attenzione, numero incollato troppo grande";
    }
    void pastedNumbers()
    {
        QFETCH(QString, pasted);
        QFETCH(int, digits);
        QFETCH(int, decimals);
        QFETCH(QString, typed);
        QFETCH(QString, why);
        QString reason;
        QCOMPARE(ui::pastedNumber(pasted, digits, decimals, &reason), typed);
        QVERIFY2(why.isEmpty() ? reason.isEmpty() : reason.startsWith(why), qPrintable(reason));

        // Through the clipboard: taken in the field's own form, or the field
        // keeps what it had and the message says why.
        ui::NumberBox box(digits, decimals, decimals > 0);
        box.setMessages(&t.msg);
        box.show();
        box.setFocus();
        QTest::keyClicks(&box, QStringLiteral("9"));
        box.selectAll();
        QGuiApplication::clipboard()->setText(pasted);
        QTest::keyClick(&box, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(box.text(), typed.isEmpty() ? QStringLiteral("9") : typed);
        QCOMPARE(t.msg.texts(), typed.isEmpty() ? QStringList{reason} : QStringList{});
    }

    void decimalPointTypesTheComma()
    {
        ui::NumberBox q(7, 3, true);
        q.setMessages(&t.msg);
        q.show();
        QVERIFY(QTest::qWaitForWindowActive(&q));
        q.setFocus();
        QTest::keyClicks(&q, QStringLiteral("12.5"));
        QCOMPARE(q.text(), QStringLiteral("12,5"));
        QCOMPARE(q.value().toLongLong(), 12500LL);
        QVERIFY(t.msg.shown.isEmpty());
        // A second decimal point is refused aloud, the value stays.
        QTest::keyClick(&q, Qt::Key_Period);
        QCOMPARE(q.text(), QStringLiteral("12,5"));
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, la virgola decimale è già presente.")});
        // The keypad's decimal key, whether it gives "." or ",".
        q.clear();
        QTest::keyClicks(&q, QStringLiteral("3"));
        QTest::keyClick(&q, Qt::Key_Period, Qt::KeypadModifier);
        QTest::keyClicks(&q, QStringLiteral("25"));
        QCOMPARE(q.value().toLongLong(), 3250LL);
        q.clear();
        QTest::keyClicks(&q, QStringLiteral("4"));
        QTest::keyClick(&q, Qt::Key_Comma, Qt::KeypadModifier);
        QTest::keyClicks(&q, QStringLiteral("5"));
        QCOMPARE(q.value().toLongLong(), 4500LL);
        // Digits that do not fit are refused with the limit, never taken as
        // another magnitude.
        q.clear();
        t.msg.clear();
        QTest::keyClicks(&q, QStringLiteral("12345678"));
        QCOMPARE(q.text(), QStringLiteral("1234567"));
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, al massimo 7 cifre intere: \"8\" non è stato inserito.")});
        t.msg.clear();
        QTest::keyClicks(&q, QStringLiteral(".1234"));
        QCOMPARE(q.text(), QStringLiteral("1234567,123"));
        QCOMPARE(t.msg.texts(),
                 QStringList{QStringLiteral("Attenzione, al massimo 3 decimali dopo la virgola: \"4\" non è stato inserito.")});

        // A whole number has no decimal point to type.
        ui::NumberBox n(2, 0, false);
        n.setMessages(&t.msg);
        n.show();
        n.setFocus();
        t.msg.clear();
        QTest::keyClicks(&n, QStringLiteral("1.2"));
        QCOMPARE(n.text(), QStringLiteral("12"));
        QCOMPARE(t.msg.texts(),
                 QStringList{QStringLiteral("Attenzione, il campo accetta solo numeri interi, senza punti né virgole.")});
    }

    // The quantity cells of the grids are edited by the same number field.
    void gridQuantityCells()
    {
        QTableWidget grid(1, 1);
        grid.setItemDelegateForColumn(0, new ui::QtyDelegate(t.msg, &grid));
        grid.setItem(0, 0, new QTableWidgetItem(QStringLiteral("1.234,500")));
        grid.show();
        QVERIFY(QTest::qWaitForWindowActive(&grid));
        grid.setCurrentCell(0, 0);
        QTest::keyClick(&grid, Qt::Key_F2);
        QTRY_VERIFY(qobject_cast<ui::NumberBox *>(focused()));
        QCOMPARE(qobject_cast<QLineEdit *>(focused())->text(), QStringLiteral("1234,500"));
        QTest::keyClick(focused(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(focused(), QStringLiteral("12.5x"));
        QCOMPARE(qobject_cast<QLineEdit *>(focused())->text(), QStringLiteral("12,5"));
        QCOMPARE(t.msg.texts().size(), 1); // the "x", refused aloud
        QTest::keyClick(focused(), Qt::Key_Return);
        QTRY_COMPARE(grid.item(0, 0)->text(), QStringLiteral("12,500"));
    }

    void pastedTextIsTakenWholeOrNotAtAll()
    {
        ui::TextBox b(5, QStringLiteral("0-9"), false);
        b.setMessages(&t.msg);
        b.show();
        b.setFocus();
        QTest::keyClicks(&b, QStringLiteral("12"));
        QGuiApplication::clipboard()->setText(QStringLiteral("3456"));
        QTest::keyClick(&b, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(b.text(), QStringLiteral("12"));
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, testo incollato troppo lungo: il campo contiene al "
                                                           "massimo 5 caratteri (ne risulterebbero 6). Il testo non è "
                                                           "stato incollato.")});
        t.msg.clear();
        QGuiApplication::clipboard()->setText(QStringLiteral("3a"));
        QTest::keyClick(&b, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(b.text(), QStringLiteral("12"));
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, testo incollato non ammesso in questo campo "
                                                           "(solo cifre). Il testo non è stato incollato.")});
        t.msg.clear();
        QGuiApplication::clipboard()->setText(QStringLiteral("345\n"));
        QTest::keyClick(&b, Qt::Key_Insert, Qt::ShiftModifier);
        QCOMPARE(b.text(), QStringLiteral("12345"));
        QVERIFY(t.msg.shown.isEmpty());
        QVERIFY(b.isUndoAvailable());
    }

    // Every text and number field of every form: the character past its
    // length is refused with a message and nothing typed before is lost;
    // upper-case fields store what is typed in upper case; every quantity
    // takes "12.5" as twelve and a half.
    void everyFieldOfEveryForm()
    {
        for (const auto &[form, table] : allTables()) {
            ui::FieldForm ff(*t.ctx, table);
            ff.show();
            QVERIFY(QTest::qWaitForWindowActive(&ff));
            for (int i = 0; i < table.size(); ++i) {
                const Field &f = table[i];
                const QString where = form + u' ' + f.name;
                QWidget *w = ff.control(f.name);
                if (!w->isEnabled())
                    continue;
                if (f.kind == Kind::Text && f.length > 0) {
                    auto *e = qobject_cast<QLineEdit *>(w);
                    const QChar c = accepted(e);
                    QVERIFY2(!c.isNull(), qPrintable(where));
                    ff.focusField(i);
                    t.msg.clear();
                    QTest::keyClicks(e, QString(f.length + 1, c));
                    QVERIFY2(e->text() == QString(f.length, f.upper ? c.toUpper() : c), qPrintable(where));
                    QVERIFY2(t.msg.texts().size() == 1, qPrintable(where));
                    QVERIFY2(t.msg.last().contains(QString::number(f.length)), qPrintable(where + u' ' + t.msg.last()));
                    if (f.upper && f.stored && c.isLetter())
                        QVERIFY2(fields::storeValues(table, ff.record()).value(f.name).toString()
                                     == QString(f.length, c.toUpper()),
                                 qPrintable(where));
                    e->clear();
                } else if (f.kind == Kind::Integer && f.length > 0) {
                    auto *e = qobject_cast<QLineEdit *>(w);
                    ff.focusField(i);
                    t.msg.clear();
                    QTest::keyClicks(e, QString(f.length + 1, u'1'));
                    QVERIFY2(ff.record().value(f.name).toString() == QString(f.length, u'1'), qPrintable(where));
                    QVERIFY2(t.msg.texts().size() == 1, qPrintable(where));
                    e->clear();
                } else if (f.kind == Kind::Quantity) {
                    auto *q = qobject_cast<ui::QtyBox *>(w);
                    ff.focusField(i);
                    t.msg.clear();
                    QTest::keyClicks(q->amount(), QStringLiteral("12.5"));
                    QVERIFY2(ff.record().value(f.name).toLongLong() == 12500, qPrintable(where));
                    QVERIFY2(t.msg.shown.isEmpty(), qPrintable(where));
                    q->amount()->clear();
                }
            }
        }
    }

    // Module forms write names and streets as SA1 does.
    void modulesUpperCaseNamesAndStreets()
    {
        for (const auto &[form, table] : allTables())
            for (const Field &f : table)
                if (f.name == QLatin1String("RagSoc") || f.name == QLatin1String("Via")
                    || f.name.endsWith(QLatin1String("Via")) || f.name == QLatin1String("Civico"))
                    QVERIFY2(f.upper, qPrintable(form + u' ' + f.name));
    }

    // A quantity other than zero without Kg or t is refused, naming it.
    void everyQuantityNeedsItsUnit()
    {
        for (const auto &[form, table] : allTables())
            for (int i = 0; i < table.size(); ++i) {
                const Field &f = table[i];
                if (f.kind != Kind::Quantity)
                    continue;
                fields::Record r;
                for (const Field &o : table)
                    if (o.kind == Kind::Quantity) {
                        r.insert(o.name, qlonglong(0));
                        r.insert(o.name2, 0); // zero with no unit is no quantity
                    }
                QCOMPARE(fields::firstUnitMissing(table, r, t.msg), -1);
                r.insert(f.name, qlonglong(1500));
                t.msg.clear();
                QCOMPARE(fields::firstUnitMissing(table, r, t.msg), i);
                QString caption = f.caption.isEmpty() ? f.group : f.caption;
                caption = caption.trimmed();
                if (caption.endsWith(u':'))
                    caption.chop(1);
                QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, unità di misura richiesta per la quantità \"")
                                                    + caption + QStringLiteral("\".")});
                for (int unit : {1, 2}) {
                    r.insert(f.name2, unit);
                    QCOMPARE(fields::firstUnitMissing(table, r, t.msg), -1);
                }
                // A field the form has closed is not asked for.
                r.insert(f.name2, 0);
                QCOMPARE(fields::firstUnitMissing(table, r, t.msg, [&f](const Field &o) { return o.name != f.name; }), -1);
            }
    }

    // The municipality typed by name is taken on Tab or Enter, list open or
    // not, and brings its province and postcode.
    void municipalityTypedByName()
    {
        ui::FieldForm ff(*t.ctx, sa1::fieldTable());
        ff.show();
        QVERIFY(QTest::qWaitForWindowActive(&ff));
        auto *com = qobject_cast<ui::ComboCom *>(ff.control(QStringLiteral("prvIstat")));
        auto *prov = ff.findChild<QLineEdit *>(QStringLiteral("ulProv"));
        auto *cap = qobject_cast<QLineEdit *>(ff.control(QStringLiteral("Cap")));
        const int at = fields::position(sa1::fieldTable(), QStringLiteral("prvIstat"));

        struct Case {
            const char *typed;
            Qt::Key key;
            bool waitForList;
            int comIstat;      // 0: not settled, the cursor stays
            const char *prov, *cap;
        };
        const Case cases[] = {
            {"roma", Qt::Key_Tab, true, 91, "RM", "00100"},          // exact name among ROMA...
            {"roma", Qt::Key_Return, false, 91, "RM", "00100"},
            {"sant'angelo lod", Qt::Key_Return, true, 50, "LO", "26866"}, // the only one with this beginning
            {"sant'angelo", Qt::Key_Tab, true, 0, "", ""},             // several: the list stays open
        };
        for (const Case &c : cases) {
            ff.setRecord({});
            ff.focusField(at);
            t.msg.clear();
            QTest::keyClicks(com->edit(), QString::fromUtf8(c.typed));
            if (c.waitForList)
                QTRY_VERIFY(com->completer()->popup()->isVisible());
            QTest::keyClick(c.waitForList ? static_cast<QWidget *>(com->completer()->popup()) : com->edit(), c.key);
            QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|')));
            QCOMPARE(com->comIstat(), c.comIstat);
            QCOMPARE(prov->text(), QString::fromLatin1(c.prov));
            QCOMPARE(cap->text(), QString::fromLatin1(c.cap));
            if (c.comIstat)
                QCOMPARE(focused(), ff.control(QStringLiteral("Via")));
            else
                QCOMPARE(focused(), static_cast<QWidget *>(com->edit()));
            QCOMPARE(ff.isModified(), c.comIstat != 0);
        }
        // A stored postcode is shown as stored, not replaced by the
        // municipality's.
        ff.setRecord({{QStringLiteral("prvIstat"), 58}, {QStringLiteral("comIstat"), 91}, {QStringLiteral("Cap"), QStringLiteral("00185")}});
        QCOMPARE(cap->text(), QStringLiteral("00185"));
    }
};

QTEST_MAIN(TestSafeEntry)
#include "test_safe_entry.moc"
