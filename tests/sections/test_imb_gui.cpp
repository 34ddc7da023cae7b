// Forms of scheda IMB and scheda MAT, driven as the user does: codes typed in
// the grids, the "[nuovo]" line, CANC, the status line, the save, the module
// buttons, the -IMB module forms. Screenshots go to the folder named by
// QOR_SHOTS when it is set.

#include "../testdb.h"
#include "sections/codes.h"
#include "sections/imb/gui/imbform.h"
#include "sections/mat/gui/matform.h"
#include "sections/mat/mat.h"
#include "sections/rif/gui/wasteforms.h"
#include "ui/controls.h"
#include "ui/fieldform.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>
#include <functional>

namespace {
void shot(QWidget *w, const char *name)
{
    QCoreApplication::processEvents(); // the layout settles first
    if (qEnvironmentVariableIsSet("QOR_SHOTS"))
        w->grab().save(qEnvironmentVariable("QOR_SHOTS") + QStringLiteral("/%1.png").arg(QString::fromLatin1(name)));
}

// Runs `act` once the next modal list window is open.
void onListWindow(QObject *context, std::function<void(ui::ListWindow *)> act)
{
    QTimer::singleShot(0, context, [act] {
        if (auto *w = qobject_cast<ui::ListWindow *>(QApplication::activeModalWidget()))
            act(w);
    });
}

fields::Record carrier(const waste::ModuleKind &m, const char *codFisc, const char *name)
{
    fields::Record r = waste::blank(m);
    r.insert(QStringLiteral("CodFisc"), QString::fromLatin1(codFisc));
    r.insert(QStringLiteral("RagSoc"), QString::fromLatin1(name));
    return r;
}

int choiceOf(AppContext &ctx, qint64 siID, int tipoMod, const QString &code)
{
    const QVector<imb::Attachable> a = imb::attachable(ctx, siID, tipoMod);
    for (int i = 0; i < a.size(); ++i)
        if (a[i].rifCod == code)
            return i;
    return -1;
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
        saID = t.addDeclaration();
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

    // INS opens the waste table with 150104 as its two metals; the one
    // chosen is entered as if typed.
    void insChoosesTheMetal()
    {
        const qint64 other = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("Y")}});
        imbgui::ImbForm f(*t.ctx, other);
        f.show();
        imbgui::WasteGrid *priv = f.grid(codes::ImbPrivate);
        priv->setCurrentCell(0, 0);
        QStringList offered;
        onListWindow(this, [&offered](ui::ListWindow *w) {
            for (int i = 0; i < w->tree()->topLevelItemCount(); ++i)
                if (w->tree()->topLevelItem(i)->text(0).startsWith(QStringLiteral("150104")))
                    offered << w->tree()->topLevelItem(i)->text(0);
            w->select(QStringLiteral("150104-C"));
            w->accept();
        });
        QTest::keyClick(priv, Qt::Key_Insert);
        QCOMPARE(offered, (QStringList{QStringLiteral("150104-A"), QStringLiteral("150104-C")}));
        QCOMPARE(priv->item(0, 0)->text(), QStringLiteral("150104-C"));
        QCOMPARE(priv->rows().value(0).allAcc, 0);
        QCOMPARE(priv->rowCount(), 2);
        // The other metal from the list on the new line; the form's rules apply.
        priv->setCurrentCell(1, 0);
        onListWindow(this, [](ui::ListWindow *w) {
            w->select(QStringLiteral("150104-A"));
            w->accept();
        });
        QTest::keyClick(priv, Qt::Key_Insert);
        QCOMPARE(priv->item(1, 0)->text(), QStringLiteral("150104-A"));
        QCOMPARE(priv->rows().value(1).allAcc, 1);
        priv->setCurrentCell(2, 0);
        t.msg.clear();
        t.msg.answer({false});
        onListWindow(this, [](ui::ListWindow *w) {
            w->select(QStringLiteral("160214"));
            w->accept();
        });
        QTest::keyClick(priv, Qt::Key_Insert);
        QVERIFY(t.msg.last().startsWith(QStringLiteral("Attenzione, è stato indicato un codice rifiuto ricevuto non")));
        QCOMPARE(priv->rowCount(), 3);
        QVERIFY(f.save());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM RecImb WHERE siID = ? AND rifCod = '150104'"),
                              {f.schedaId()})
                     .toInt(),
                 2);
    }

    // RT-IMB: saving a module compares the modules of the row with its
    // quantity and tells a difference, without refusing.
    void rtImbAgainstItsRow()
    {
        const qint64 other = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("Z")}});
        imb::Row pub;
        pub.posizione = codes::ImbPublic;
        pub.rifCod = QStringLiteral("150101");
        pub.qta = 1000000; // 1.000 kg
        QVERIFY(imb::save(*t.ctx, other, 0, imb::blank(), {pub}) > 0);
        imbgui::ImbForm f(*t.ctx, other);
        auto *rt = qobject_cast<wastegui::ModuleForm *>(f.openModules(codes::RT, 0));
        QVERIFY(rt);
        fields::Record r = carrier(rt->kind(), "RSSMRA80A01H501U", "ROSSI MARIO");
        r.insert(QStringLiteral("prvIstat"), 15);
        r.insert(QStringLiteral("comIstat"), 146);
        r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
        r.insert(QStringLiteral("qtaMod"), qlonglong(400000));
        rt->fields()->setRecord(r);
        rt->fields()->setModified(true);
        t.msg.clear();
        QVERIFY(rt->save());
        QCOMPARE(t.msg.last(), QStringLiteral("La quantità ricevuta da terzi da superficie pubblica dev'essere uguale\n"
                                              "alla somma delle quantità indicate nei corrispondenti moduli RT-IMB."));
        QVERIFY(rt->currentKey() > 0);
        // A second module brings the total to the row's quantity: nothing to tell.
        rt->showRecord(0);
        r.insert(QStringLiteral("qtaMod"), qlonglong(600000));
        rt->fields()->setRecord(r);
        rt->fields()->setModified(true);
        t.msg.clear();
        QVERIFY(rt->save());
        QVERIFY(t.msg.shown.isEmpty());
        shot(rt, "rt-imb-balance");
        rt->close();
    }

    // TE-IMB: the carriers of the code listed by name beside the form, the
    // list ending with "[Nuovo]"; the list window shows this code's carriers.
    void teImbCarriers()
    {
        const qint64 other = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("W")}});
        imb::Row pub;
        pub.posizione = codes::ImbPublic;
        pub.rifCod = QStringLiteral("150102");
        const qint64 si = imb::save(*t.ctx, other, 0, imb::blank(), {pub});
        const waste::ModuleKind &te = imb::module(codes::TE);
        const waste::Attachment a{{QStringLiteral("rifCod"), QStringLiteral("150102")}};
        QVERIFY(waste::save(*t.ctx, te, si, 0, QStringLiteral("150102"), carrier(te, "00488410010", "ZETA TRASPORTI"), {}, a) > 0);
        QVERIFY(waste::save(*t.ctx, te, si, 0, QStringLiteral("150101"), carrier(te, "00488410010", "ALTRO VETTORE"), {},
                            {{QStringLiteral("rifCod"), QStringLiteral("150101")}})
                > 0);
        imbgui::ImbForm f(*t.ctx, other);
        auto *form = qobject_cast<wastegui::ModuleForm *>(f.openModules(codes::TE, choiceOf(*t.ctx, si, codes::TE,
                                                                                            QStringLiteral("150102"))));
        QVERIFY(form && form->table());
        QTreeWidget *list = form->table();
        QCOMPARE(list->topLevelItemCount(), 2);
        QCOMPARE(list->topLevelItem(0)->text(1), QStringLiteral("ZETA TRASPORTI"));
        QCOMPARE(list->topLevelItem(1)->text(0), QStringLiteral("[Nuovo]"));
        QVERIFY(form->currentKey() > 0);

        // A second carrier, saved from the "[Nuovo]" line, is listed by name before the first.
        Q_EMIT list->itemActivated(list->topLevelItem(1), 0);
        QCOMPARE(form->currentKey(), 0);
        QCOMPARE(list->currentItem()->text(0), QStringLiteral("[Nuovo]"));
        form->fields()->setRecord(carrier(te, "RSSMRA80A01H501U", "BETA TRASPORTI"));
        form->fields()->setModified(true);
        QVERIFY(form->save());
        QCOMPARE(list->topLevelItemCount(), 3);
        QCOMPARE(list->topLevelItem(0)->text(1), QStringLiteral("BETA TRASPORTI"));
        QCOMPARE(list->topLevelItem(1)->text(1), QStringLiteral("ZETA TRASPORTI"));
        QCOMPARE(list->topLevelItem(2)->text(0), QStringLiteral("[Nuovo]"));
        form->resize(1000, 420);
        shot(form, "te-imb");

        // The list window holds the carriers of this code only.
        int listed = -1;
        onListWindow(this, [&listed](ui::ListWindow *w) {
            listed = w->tree()->topLevelItemCount();
            w->reject();
        });
        form->listButton()->click();
        QCOMPARE(listed, 2);

        // Deleting asks for the module chosen in the list.
        t.msg.clear();
        t.msg.answer({false});
        form->deleteButton()->click();
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino modulo selezionato\nsei sicuro?"));
        form->close();
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
