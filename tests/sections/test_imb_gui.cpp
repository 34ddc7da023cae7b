// Forms of scheda IMB and scheda MAT, driven as the user does: codes typed in
// the grids, the "[nuovo]" line, CANC, the status line, the save, the module
// buttons. Screenshots go to /tmp/issue7-work when that folder exists.

#include "../testdb.h"
#include "sections/codes.h"
#include "sections/imb/gui/imbform.h"
#include "sections/mat/gui/matform.h"
#include "sections/mat/mat.h"
#include "sections/rif/gui/wasteforms.h"
#include "ui/fieldform.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>

namespace {
void shot(QWidget *w, const char *name)
{
    if (QDir(QStringLiteral("/tmp/issue7-work")).exists())
        w->grab().save(QStringLiteral("/tmp/issue7-work/%1.png").arg(QString::fromLatin1(name)));
}
} // namespace

class TestImbGui : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                                           {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")}});
        QVERIFY(saID > 0);
    }

    void imbFormEntryAndSave()
    {
        imbgui::ImbForm f(*t.ctx, saID);
        f.show();
        QCOMPARE(f.tabs()->count(), 4);
        QCOMPARE(f.tabs()->tabText(3), QStringLiteral("Riepilogo attività"));
        // A new scheda: module buttons and delete disabled.
        QVERIFY(!f.moduleButton(codes::RT)->isEnabled());
        QVERIFY(!f.deleteButton()->isEnabled());
        imbgui::WasteGrid *pub = f.grid(codes::ImbPublic);
        QCOMPARE(pub->rowCount(), 1);
        QCOMPARE(pub->item(0, 0)->text(), QStringLiteral("[nuovo]"));

        // Typing over "[nuovo]" adds the row and a new placeholder below it.
        pub->item(0, 0)->setText(QStringLiteral("150104-a"));
        QCOMPARE(pub->rowCount(), 2);
        QCOMPARE(pub->item(0, 0)->text(), QStringLiteral("150104-A"));
        QCOMPARE(pub->item(1, 0)->text(), QStringLiteral("[nuovo]"));
        pub->item(1, 0)->setText(QStringLiteral("150104-C"));
        pub->item(2, 0)->setText(QStringLiteral("150101"));
        QCOMPARE(pub->rowCount(), 4);
        // A refused code leaves the line as it was.
        pub->item(3, 0)->setText(QStringLiteral("150101"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto già presente nella sezione."));
        QCOMPARE(pub->item(3, 0)->text(), QStringLiteral("[nuovo]"));
        QCOMPARE(pub->rowCount(), 4);
        pub->item(0, 2)->setText(QStringLiteral("1234,5"));
        QCOMPARE(pub->item(0, 2)->text(), QStringLiteral("1.234,500"));
        // Status line texts follow the cell.
        pub->setCurrentCell(0, 0);
        QCOMPARE(f.findChild<QLabel *>(QStringLiteral("status"))->text(),
                 QStringLiteral("Premere il tasto <CANC> per eliminare il rifiuto"));
        pub->setCurrentCell(3, 0);
        QCOMPARE(f.findChild<QLabel *>(QStringLiteral("status"))->text(),
                 QStringLiteral("Inserire codice rifiuto o tasto <INS> per lista rifiuti"));

        QVERIFY(f.saveButton()->isEnabled());
        QVERIFY(f.save());
        QVERIFY(f.schedaId() > 0);
        QVERIFY(f.moduleButton(codes::MG)->isEnabled());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM RecImb WHERE siID = ?"), {f.schedaId()}).toInt(), 3);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT qta FROM RecImb WHERE siID = ? AND allAcc = 1"), {f.schedaId()})
                     .toLongLong(),
                 1234500);
        f.tabs()->setCurrentIndex(0);
        shot(&f, "imb-received");
        f.tabs()->setCurrentIndex(2);
        shot(&f, "imb-destination");
        f.tabs()->setCurrentIndex(3);
        shot(&f, "imb-summary");

        // CANC on a row asks; Yes takes it away.
        pub->setCurrentCell(2, 0);
        t.msg.answer({true});
        QTest::keyClick(pub, Qt::Key_Delete);
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino rifiuto selezionato ed i relativi moduli,\nsei sicuro?"));
        QCOMPARE(pub->rowCount(), 3);

        // Module forms open on a chosen code.
        QWidget *mg = f.openModules(codes::MG, 0);
        QVERIFY(mg);
        mg->resize(1000, 700);
        shot(mg, "mg-imb");
        mg->close();
        QWidget *rt = f.openModules(codes::RT, 0);
        QVERIFY(rt);
        QVERIFY(rt->windowTitle().contains(QStringLiteral("da sup. pubblica")));
        shot(rt, "rt-imb");
        rt->close();
        QWidget *dr = f.openModules(codes::DR, 0);
        QVERIFY(dr);
        // DR-IMB carries one grid of destination operations.
        auto *drForm = qobject_cast<wastegui::ModuleForm *>(dr);
        QVERIFY(drForm && drForm->grid(1));
        shot(dr, "dr-imb");
        dr->close();
        // The row taken away by CANC left the scheda changed: closing asks.
        t.msg.clear();
        f.close();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?"));
    }

    void noCodeMessage()
    {
        const qint64 other = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("X")}});
        imbgui::ImbForm f(*t.ctx, other);
        QVERIFY(f.save());
        QVERIFY(!f.openModules(codes::RT, 0));
        QCOMPARE(t.msg.last(), QStringLiteral("Nessun rifiuto trovato."));
    }

    void matForm()
    {
        matgui::MatForm f(*t.ctx, saID);
        f.show();
        QVERIFY(!f.deleteButton()->isEnabled());
        fields::Record r = f.fields()->record();
        r.insert(QStringLiteral("msQta08"), qlonglong(5000));
        f.fields()->setRecord(r);
        f.fields()->setModified(true);
        QVERIFY(f.save());
        QVERIFY(mat::present(*t.ctx, saID));
        QVERIFY(f.deleteButton()->isEnabled());
        shot(&f, "mat");
    }
};

QTEST_MAIN(TestImbGui)
#include "test_imb_gui.moc"
