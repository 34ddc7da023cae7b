// The input controls and the shared record-form pattern, offscreen.

#include "../testdb.h"
#include "ui/controls.h"
#include "ui/fieldform.h"
#include "ui/recordform.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QCompleter>
#include <QLineEdit>
#include <QPushButton>
#include <QSqlQuery>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>

using fields::Field;
using fields::Kind;

namespace {

QWidget *focused() { return QApplication::focusWidget(); }

// A small table standing for a later module form.
fields::Table moduleTable()
{
    fields::Table t;
    Field cf;
    cf.name = QStringLiteral("CodFisc");
    cf.caption = QStringLiteral("Codice fiscale:");
    cf.length = 16;
    cf.chars = QStringLiteral("A-Za-z0-9");
    cf.upper = true;
    cf.required = QStringLiteral("Attenzione, codice fiscale richiesto.");
    t << cf;
    Field q;
    q.name = QStringLiteral("qtaMod");
    q.name2 = QStringLiteral("umiMod");
    q.caption = QStringLiteral("Quantità:");
    q.kind = Kind::Quantity;
    q.required = QStringLiteral("Attenzione, quantità richiesta.");
    q.row = 1;
    t << q;
    return t;
}

} // namespace

class TestControls : public QObject {
    Q_OBJECT
    TestDb t;
private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }
    void init() { t.msg.clear(); }

    void textBoxRefusesAndSaysWhy()
    {
        ui::TextBox b(5, QStringLiteral("0-9"), false);
        b.show();
        b.setFocus();
        QTest::keyClicks(&b, QStringLiteral("12a"));
        QCOMPARE(b.text(), QStringLiteral("12"));
        QVERIFY(b.lastRefusal().startsWith(QStringLiteral("Attenzione, carattere non ammesso: \"a\" (solo cifre)")));
        QTest::keyClicks(&b, QStringLiteral("3456"));
        QCOMPARE(b.text(), QStringLiteral("12345"));
        QCOMPARE(b.lastRefusal(), QStringLiteral("Attenzione, il campo contiene al massimo 5 caratteri: \"6\" non è stato inserito."));

        b.clear();
        QGuiApplication::clipboard()->setText(QStringLiteral("12345678"));
        QTest::keyClick(&b, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(b.text(), QString()); // never cut: refused whole
        QVERIFY(b.lastRefusal().startsWith(QStringLiteral("Attenzione, testo incollato troppo lungo")));

        ui::TextBox u(16, QStringLiteral("A-Za-z0-9"), true);
        u.show();
        u.setFocus();
        QTest::keyClicks(&u, QStringLiteral("rss m'ra"));
        QCOMPARE(u.text(), QStringLiteral("RSSMRA"));
    }

    void numbersAndQuantities()
    {
        ui::NumberBox q(7, 3, true);
        q.setValue(1234500LL); // thousandths
        QCOMPARE(q.text(), QStringLiteral("1.234,500"));
        QCOMPARE(q.value().toLongLong(), 1234500LL);
        q.show();
        QVERIFY(QTest::qWaitForWindowActive(&q));
        q.setFocus();
        QCOMPARE(q.text(), QStringLiteral("1234,500"));
        q.clear();
        QTest::keyClicks(&q, QStringLiteral("12345678,12345"));
        QCOMPARE(q.text(), QStringLiteral("1234567,123")); // 7 digits, 3 decimals
        QCOMPARE(q.value().toLongLong(), 1234567123LL);
        q.clear();
        QVERIFY(q.value().isNull());

        ui::NumberBox n(2, 0, false);
        n.show();
        n.setFocus();
        QTest::keyClicks(&n, QStringLiteral("-1x23"));
        QCOMPARE(n.text(), QStringLiteral("12"));
        QCOMPARE(n.value().toLongLong(), 12LL);

        ui::ComboKgt k;
        QCOMPARE(k.count(), 2);
        QCOMPARE(k.itemText(0), QStringLiteral("Kg"));
        QCOMPARE(k.itemText(1), QStringLiteral("t"));
        QCOMPARE(k.code(), 0);
        k.setCode(2);
        QCOMPARE(k.code(), 2);
        k.setCode(5);
        QCOMPARE(k.code(), 0);
    }

    void dates()
    {
        ui::DateBox d;
        d.setIsoValue(QStringLiteral("2019-02-11"));
        QCOMPARE(d.edit()->text(), QStringLiteral("11/02/2019"));
        QCOMPARE(d.isoValue(), QStringLiteral("2019-02-11"));
        d.setIsoValue({});
        QVERIFY(d.isBlank());
        QVERIFY(d.isValidOrBlank());
        d.show();
        d.edit()->setFocus();
        QTest::keyClicks(d.edit(), QStringLiteral("31022019"));
        QVERIFY(!d.isValidOrBlank());
        QCOMPARE(d.isoValue(), QString());
    }

    void municipalityPicker()
    {
        ui::ComboCom c(*t.ctx);
        c.show();
        QVERIFY(QTest::qWaitForWindowActive(&c));
        c.edit()->setFocus();
        QTest::keyClicks(c.edit(), QStringLiteral("sant'angelo lod"));
        // The list is offered while typing.
        QTRY_VERIFY(c.completer()->popup()->isVisible());
        QVERIFY(c.completer()->completionModel()->rowCount() >= 1);
        QCOMPARE(c.key(), 0);
        QVERIFY(c.settle());
        QCOMPARE(c.row().comDesc, QStringLiteral("SANT'ANGELO LODIGIANO"));
        QCOMPARE(c.row().prvSigla, QStringLiteral("LO"));
        QVERIFY(t.msg.shown.isEmpty());

        c.edit()->setText(QStringLiteral("XYZZY"));
        QVERIFY(!c.settle());
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, Comune non trovato!"));

        c.edit()->clear();
        QVERIFY(c.settle());
        QCOMPARE(c.key(), 0);
        c.Required = true;
        QVERIFY(!c.requiredOk(t.msg));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo Comune richiesto!"));
        c.MsgRequired = QStringLiteral("Attenzione, comune sede legale richiesto.");
        QVERIFY(!c.requiredOk(t.msg));
        QCOMPARE(t.msg.last(), c.MsgRequired);

        // Several municipalities begin with the text: the user chooses.
        c.edit()->setText(QStringLiteral("ROMA"));
        QVERIFY(c.settle()); // exact name, one only
        QCOMPARE(c.row().prvSigla, QStringLiteral("RM"));
        c.edit()->setText(QStringLiteral("ROMAN"));
        QVERIFY(!c.settle());
        QVERIFY(c.completer()->popup()->isVisible());

        c.setCodes(c.row().prvIstat, c.row().comIstat);
        QCOMPARE(c.edit()->text(), QStringLiteral("ROMA"));
        c.setCodes(999, 999);
        QCOMPARE(c.key(), 0);
        QVERIFY(c.edit()->text().isEmpty());
    }

    void activityCode()
    {
        ui::ActivityBox a(*t.ctx);
        a.setCode(QStringLiteral("381100"));
        QCOMPARE(a.edit()->text(), QStringLiteral("38.11.00"));
        QCOMPARE(a.code(), QStringLiteral("381100"));
        a.setCode({});
        QCOMPARE(a.code(), QString());
    }

    void pickLists()
    {
        // The list opens on the current code, shown through the mask; Enter chooses it.
        QString shown;
        QTimer::singleShot(0, this, [&shown] {
            auto *w = qobject_cast<ui::ListWindow *>(QApplication::activeModalWidget());
            if (!w)
                return;
            shown = w->tree()->currentItem()->text(0);
            if (qEnvironmentVariableIsSet("QOR_SHOTS"))
                w->grab().save(qEnvironmentVariable("QOR_SHOTS") + QStringLiteral("/attivita.png"));
            QTest::keyClick(w->tree(), Qt::Key_Return);
        });
        QCOMPARE(ui::pickActivity(*t.ctx, nullptr, QStringLiteral("381100")), QStringLiteral("381100"));
        QCOMPARE(shown, QStringLiteral("38.11.00"));

        // Filtering by description, then Enter.
        QTimer::singleShot(0, this, [] {
            auto *w = qobject_cast<ui::ListWindow *>(QApplication::activeModalWidget());
            if (!w)
                return;
            QCOMPARE(w->windowTitle(), QStringLiteral("Tabella rifiuti"));
            w->filter()->setText(QStringLiteral("200101"));
            QTest::keyClick(w->tree(), Qt::Key_Return);
        });
        QCOMPARE(ui::pickWasteCode(*t.ctx, nullptr), QStringLiteral("200101"));

        QTimer::singleShot(0, this, [] {
            if (auto *w = qobject_cast<ui::ListWindow *>(QApplication::activeModalWidget()))
                w->reject();
        });
        QCOMPARE(ui::pickRegCE(*t.ctx, nullptr, QStringLiteral("B1010")), QString());
    }

    void optionGroup()
    {
        ui::OptionGroup g({QStringLiteral("Uno"), QStringLiteral("Due")});
        QCOMPARE(g.value(), 0);
        int changes = 0;
        connect(&g, &ui::OptionGroup::changed, this, [&changes] { ++changes; });
        g.findChildren<QAbstractButton *>().at(1)->click();
        QCOMPARE(g.value(), 2);
        QCOMPARE(changes, 1);
        g.setValue(0);
        QCOMPARE(g.value(), 0);
        g.setValue(1);
        QCOMPARE(g.value(), 1);
    }

    void navigatorAndList()
    {
        ui::Navigator n(QStringLiteral("Scheda RIF"));
        n.setPosition(2, 5);
        QCOMPARE(n.caption(), QStringLiteral("Scheda RIF 2 di 5"));
        QList<int> asked;
        connect(&n, &ui::Navigator::moveTo, this, [&asked](int p) { asked << p; });
        const auto buttons = n.findChildren<QToolButton *>();
        QCOMPARE(buttons.size(), 4);
        for (QToolButton *b : buttons)
            b->click();
        QCOMPARE(asked, (QList<int>{1, 1, 3, 5}));

        ui::ListWindow w(QStringLiteral("Elenco"), {QStringLiteral("Codice"), QStringLiteral("Descrizione")});
        w.addRow({QStringLiteral("A1"), QStringLiteral("uno")}, 1);
        w.addRow({QStringLiteral("B2"), QStringLiteral("due")}, 2);
        w.filter()->setText(QStringLiteral("du"));
        w.accept();
        QCOMPARE(w.chosen().toInt(), 2);
    }

    // The pattern a later module form uses: declared fields, keys, load, save.
    void recordFormPattern()
    {
        QVERIFY(t.db->execute(QStringLiteral("CREATE TABLE Prova (id INTEGER PRIMARY KEY, CodFisc TEXT, qtaMod BIGINT, umiMod INTEGER)")));
        QVERIFY(t.db->execute(QStringLiteral("INSERT INTO Prova (CodFisc, qtaMod, umiMod) VALUES ('AAA', 1500, 1), ('BBB', 2000, 2)")));
        dbClass &db = *t.db;
        ui::RecordLayout layout;
        layout.title = QStringLiteral("Modulo di prova");
        layout.navText = QStringLiteral("Modulo");
        layout.newText = QStringLiteral("&Nuovo modulo");
        layout.saveText = QStringLiteral("&Salva modulo");
        layout.fields = moduleTable();
        layout.listHeaders = {QStringLiteral("Codice fiscale")};
        ui::RecordBinding b;
        b.keys = [&db](qint64) {
            QVector<qint64> k;
            QSqlQuery q = db.query(QStringLiteral("SELECT id FROM Prova ORDER BY id"));
            while (q.next())
                k << q.value(0).toLongLong();
            return k;
        };
        b.load = [&db](qint64 k) {
            QSqlQuery q = db.query(QStringLiteral("SELECT CodFisc, qtaMod, umiMod FROM Prova WHERE id = ?"), {k});
            QVariantMap row;
            if (q.next())
                row = {{QStringLiteral("CodFisc"), q.value(0)}, {QStringLiteral("qtaMod"), q.value(1)},
                       {QStringLiteral("umiMod"), q.value(2)}};
            return fields::fromStore(moduleTable(), row);
        };
        ScriptedMessages &msg = t.msg;
        b.save = [&db, &msg](qint64 k, const fields::Record &r, int *bad) -> qint64 {
            *bad = fields::firstMissing(moduleTable(), r, msg);
            if (*bad >= 0)
                return 0;
            const QVariantMap v = fields::storeValues(moduleTable(), r);
            if (k > 0)
                return db.updateRow(QStringLiteral("Prova"), QStringLiteral("id"), k, v) ? k : 0;
            QSqlQuery q(db.current());
            q.prepare(QStringLiteral("INSERT INTO Prova (CodFisc, qtaMod, umiMod) VALUES (?, ?, ?)"));
            q.addBindValue(v.value(QStringLiteral("CodFisc")));
            q.addBindValue(v.value(QStringLiteral("qtaMod")));
            q.addBindValue(v.value(QStringLiteral("umiMod")));
            return q.exec() ? q.lastInsertId().toLongLong() : 0;
        };
        b.listRow = [&b](qint64 k) { return QStringList{b.load(k).value(QStringLiteral("CodFisc")).toString()}; };

        ui::RecordForm f(*t.ctx, layout, b);
        QPushButton *module = f.addRecordButton(QStringLiteral("Modulo &RT"));
        QVERIFY(!module->isEnabled()); // no saved row shown yet
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        QCOMPARE(f.navigator()->caption(), QStringLiteral("Modulo - nuovo inserimento (totale 2)"));
        f.moveTo(1);
        QCOMPARE(f.navigator()->caption(), QStringLiteral("Modulo 1 di 2"));
        QVERIFY(module->isEnabled());
        auto *qty = qobject_cast<ui::QtyBox *>(f.fields()->control(QStringLiteral("qtaMod")));
        QCOMPARE(qty->amount()->text(), QStringLiteral("1,500"));
        QCOMPARE(qty->unit()->currentText(), QStringLiteral("Kg"));
        QVERIFY(!f.saveButton()->isEnabled()); // nothing changed yet

        f.fields()->focusField(0);
        QTest::keyClicks(focused(), QStringLiteral("x"));
        QVERIFY(f.saveButton()->isEnabled());
        // Moving on asks; No discards the change.
        f.moveTo(2);
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?")});
        QCOMPARE(f.navigator()->caption(), QStringLiteral("Modulo 2 di 2"));
        QCOMPARE(b.load(1).value(QStringLiteral("CodFisc")).toString(), QStringLiteral("AAA"));

        // Alt+S is the access key of "Salva modulo".
        f.fields()->focusField(0);
        QTest::keyClicks(focused(), QStringLiteral("y"));
        QTest::keyClick(focused(), Qt::Key_S, Qt::AltModifier);
        QTRY_COMPARE(b.load(2).value(QStringLiteral("CodFisc")).toString(), QStringLiteral("BBBY"));
        QVERIFY(!f.saveButton()->isEnabled());

        // Yes saves before moving.
        f.fields()->focusField(0);
        QTest::keyClicks(focused(), QStringLiteral("b"));
        t.msg.clear();
        t.msg.answer({true});
        f.moveTo(1);
        QCOMPARE(b.load(2).value(QStringLiteral("CodFisc")).toString(), QStringLiteral("BBBYB"));
        QCOMPARE(f.navigator()->position(), 1);

        // A new record: a refused save stays, with the cursor on the field.
        f.newButton()->click();
        QCOMPARE(f.currentKey(), 0);
        QVERIFY(!module->isEnabled());
        QTest::keyClicks(focused(), QStringLiteral("ccc"));
        t.msg.clear();
        f.saveButton()->click();
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, quantità richiesta.")});
        QCOMPARE(focused(), qty->amount());
        QTest::keyClicks(focused(), QStringLiteral("2.5"));
        // No unit chosen: refused, the cursor on the unit.
        t.msg.clear();
        f.saveButton()->click();
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, unità di misura richiesta per la quantità \"Quantità\".")});
        QCOMPARE(f.currentKey(), 0);
        QCOMPARE(focused(), qty->unit());
        QTest::keyClick(focused(), Qt::Key_T);
        f.saveButton()->click();
        QVERIFY2(f.currentKey() > 0, qPrintable(t.msg.texts().join(u'|')));
        QCOMPARE(f.navigator()->caption(), QStringLiteral("Modulo 3 di 3"));
        QVERIFY(module->isEnabled());
        QCOMPARE(db.scalar(QStringLiteral("SELECT qtaMod FROM Prova WHERE id = ?"), {f.currentKey()}).toLongLong(), 2500LL);
        QCOMPARE(db.scalar(QStringLiteral("SELECT umiMod FROM Prova WHERE id = ?"), {f.currentKey()}).toInt(), 2);
        QVERIFY(!f.saveButton()->isEnabled());

        // Closing a changed record whose save is refused keeps the form open.
        f.fields()->focusField(0);
        QTest::keyClick(focused(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(focused(), Qt::Key_Delete);
        t.msg.clear();
        t.msg.answer({true});
        QVERIFY(!f.close());
        QCOMPARE(t.msg.texts(), (QStringList{QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?"),
                                             QStringLiteral("Attenzione, codice fiscale richiesto.")}));
        t.msg.clear();
        QVERIFY(f.close()); // No: closes without saving
        QCOMPARE(db.scalar(QStringLiteral("SELECT CodFisc FROM Prova WHERE id = 3")).toString(), QStringLiteral("CCC"));
    }
};

QTEST_MAIN(TestControls)
#include "test_controls.moc"
