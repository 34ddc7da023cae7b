// The list of declarations and the current declaration: switching databases,
// searching, the keyboard, and creating a database from "Collega archivi".

#include "../testutil.h"
#include "exchange/gui/expform.h"
#include "sections/anag/gui/sa1form.h"
#include "sections/rif/gui/wasteforms.h"
#include "shell/dbclass.h"
#include "shell/gui/connetti.h"
#include "shell/gui/declmodel.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "shell/messages.h"

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTimer>
#include <QTableView>

namespace {
qint64 addDeclaration(dbClass &db, const char *name, const char *cf)
{
    return db.insertRow(QStringLiteral("SezAnag"),
                        {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("RagSoc"), QString::fromUtf8(name)},
                         {QStringLiteral("CodFisc"), QString::fromLatin1(cf)}, {QStringLiteral("prvIstat"), 58},
                         {QStringLiteral("comIstat"), 91}, {QStringLiteral("Via"), QStringLiteral("VIA ROMA")}});
}

// A fresh database in a folder of its own, connected through the program's objects.
struct Store {
    QTemporaryDir d;
    QString path = testutil::freshDatabase(d);
    qorClass app{d.path()};
    ScriptedMessages msg;
    dbClass db{app, msg};
    AppContext ctx{app, db, msg};
    bool open()
    {
        db.setCurrentPath(path);
        return db.connect();
    }
};

qint64 highlighted(DeclarationList *l)
{
    const QModelIndex i = l->view()->currentIndex();
    if (!i.isValid() || !l->view()->selectionModel()->isRowSelected(i.row(), {}))
        return 0;
    return l->rowId(i.row());
}

template <class T>
T *openedForm(MainWindow &w)
{
    QMdiSubWindow *sw = w.mdi()->activeSubWindow();
    return sw ? qobject_cast<T *>(sw->widget()) : nullptr;
}

// Runs "Collega archivi" with the dialog driven by the given steps.
void connetti(MainWindow &w, std::function<void(Connetti &)> steps)
{
    // The dialog comes after the open forms are closed: wait for it.
    QTimer poll;
    poll.setInterval(5);
    QObject::connect(&poll, &QTimer::timeout, [&poll, steps] {
        auto *d = qobject_cast<Connetti *>(QApplication::activeModalWidget());
        if (!d)
            return;
        poll.stop();
        steps(*d);
        if (d->isVisible())
            d->reject();
    });
    poll.start();
    w.runCommand(QStringLiteral("connetti"));
    QVERIFY(!poll.isActive());
}
} // namespace

class TestDeclarationList : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;

    // The invariant of the list: what is highlighted is the current
    // declaration, for the list, for the settings and for the forms.
    static void consistent(MainWindow &w, qorClass &app)
    {
        const qint64 cur = w.declarations()->currentId();
        QCOMPARE(highlighted(w.declarations()), cur);
        QCOMPARE(qint64(app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"))), cur);
    }

private Q_SLOTS:
    void initTestCase()
    {
        dbClass::busyTimeoutMs = 200;
        registerForms();
    }

    void switchingDatabasesOpensTheHighlightedDeclaration()
    {
        QTemporaryDir d;
        const QString pathA = testutil::freshDatabase(d, QStringLiteral("a.db"));
        const QString pathB = testutil::freshDatabase(d, QStringLiteral("b.db"));
        qorClass app(d.path());
        ScriptedMessages msg;
        qint64 b1 = 0, b2 = 0, rifID = 0;
        {
            dbClass b(app, msg);
            b.setCurrentPath(pathB);
            QVERIFY(b.connect());
            // The keys of the second file start where the first file's do.
            b1 = addDeclaration(b, "ZETA SRL", "01234567897");
            b2 = addDeclaration(b, "BETA SPA", "02345678901");
            rifID = b.insertRow(QStringLiteral("SezRif"), {{QStringLiteral("saID"), b2},
                                                           {QStringLiteral("rifCod"), QStringLiteral("120101")},
                                                           {QStringLiteral("sfSolidoNP"), 1}});
        }
        dbClass db(app, msg);
        db.setCurrentPath(pathA);
        QVERIFY(db.connect());
        const qint64 a1 = addDeclaration(db, "ALFA SRL", "00488410010");
        QCOMPARE(a1, b1);
        AppContext ctx{app, db, msg};
        MainWindow w(ctx);
        w.resize(1200, 700);
        w.show();
        w.declarations()->reload();
        w.declarations()->setCurrentId(a1);
        consistent(w, app);
        w.openForm(Form::SA1);
        QVERIFY(openedForm<Sa1Form>(w));

        connetti(w, [&](Connetti &c) {
            c.currentEdit()->setText(pathB); // typed
            QVERIFY(c.confirm());
        });
        QCOMPARE(db.currentPath(), pathB);
        QCOMPARE(w.mdi()->subWindowList().size(), 0); // the forms of the old file are gone
        QCOMPARE(w.declarations()->rowCount(), 2);
        consistent(w, app);
        QCOMPARE(w.declarations()->currentId(), b2); // first in the list: BETA SPA

        w.openForm(Form::SA1);
        auto *sa1 = openedForm<Sa1Form>(w);
        QVERIFY(sa1);
        QCOMPARE(sa1->currentKey(), b2);
        w.openForm(Form::Rif);
        auto *rif = openedForm<wastegui::SchedaForm>(w);
        QVERIFY(rif);
        QCOMPARE(rif->currentKey(), rifID);

        // a refused typed path leaves everything as it was
        msg.clear();
        connetti(w, [&](Connetti &c) {
            c.currentEdit()->setText(d.filePath(QStringLiteral("manca.db")));
            QVERIFY(!c.confirm());
            QVERIFY(c.isVisible());
        });
        QCOMPARE(msg.shown.size(), 1);
        QVERIFY(msg.last().startsWith(QStringLiteral("Attenzione, file non trovato: ")));
        QCOMPARE(db.currentPath(), pathB);
        consistent(w, app);
    }

    void theSearchNeverLeavesAHiddenDeclarationCurrent()
    {
        Store s;
        QVERIFY(s.open());
        auto &app = s.app;
        auto &msg = s.msg;
        auto &db = s.db;
        const qint64 alfa = addDeclaration(db, "ALFA SRL", "00488410010");
        const qint64 beta = addDeclaration(db, "BETA SPA", "02345678901");
        const qint64 gamma = addDeclaration(db, "GAMMA SNC", "01234567897");
        MainWindow w(s.ctx);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        DeclarationList *l = w.declarations();
        l->reload();
        l->setCurrentId(alfa);
        consistent(w, app);

        // By name, by tax code, then nothing at all, then everything again.
        const struct {
            const char *text;
            qint64 expected;
        } steps[] = {{"gamma", gamma}, {"0234567", beta}, {"nessuna", 0}, {"", alfa}};
        for (const auto &s : steps) {
            l->filter()->setText(QString::fromLatin1(s.text));
            QCOMPARE(l->currentId(), s.expected);
            consistent(w, app);
        }
        // SA1 opens on what is seen, and refuses with nothing selected.
        l->filter()->setText(QStringLiteral("gamma"));
        w.openForm(Form::SA1);
        QCOMPARE(openedForm<Sa1Form>(w)->currentKey(), gamma);
        w.runCommand(QStringLiteral("closeForms"));
        l->filter()->setText(QStringLiteral("nessuna"));
        msg.clear();
        w.openForm(Form::Rif);
        QCOMPARE(w.mdi()->subWindowList().size(), 0);
        QCOMPARE(msg.last(), QStringLiteral("Attenzione, selezionare una dichiarazione dall'elenco."));

        // a form moving to a hidden declaration brings it into view
        l->setCurrentId(alfa);
        QVERIFY(l->filter()->text().isEmpty());
        consistent(w, app);

        // Down and Enter from the search field go into the list
        for (Qt::Key k : {Qt::Key_Down, Qt::Key_Return}) {
            l->filter()->setFocus();
            QTest::keyClick(l->filter(), k);
            QCOMPARE(QApplication::focusWidget(), l->view());
        }
        QTest::keyClick(l->view(), Qt::Key_Down);
        QCOMPARE(l->currentId(), beta);
        consistent(w, app);

        // Typing searches once, after a pause; Enter does not wait for it.
        int searches = 0;
        connect(l->model(), &QAbstractItemModel::modelReset, this, [&] { ++searches; });
        l->filter()->setFocus();
        QTest::keyClicks(l->filter(), QStringLiteral("gam"));
        QCOMPARE(searches, 0);
        QVERIFY(l->searchPending());
        QCOMPARE(l->rowCount(), 3);
        QTRY_COMPARE(searches, 1);
        QCOMPARE(l->rowCount(), 1);
        QCOMPARE(l->currentId(), gamma);
        QTest::keyClicks(l->filter(), QStringLiteral("x"));
        QTest::keyClick(l->filter(), Qt::Key_Return);
        QCOMPARE(searches, 2);
        QCOMPARE(l->rowCount(), 0);
        QCOMPARE(QApplication::focusWidget(), l->view());
        QTest::qWait(DeclarationList::SearchDelayMs + 50);
        QCOMPARE(searches, 2);
        consistent(w, app);
    }

    void columnsFitTheirContent()
    {
        Store s;
        QVERIFY(s.open());
        auto &db = s.db;
        addDeclaration(db, "SOCIETA' COOPERATIVA DI RACCOLTA E RECUPERO MATERIALI DELLA PIANURA", "00488410010");
        const qint64 id = addDeclaration(db, "B", "RSSMRA80A01H501U");
        QVERIFY(db.execute(QStringLiteral("UPDATE SezAnag SET ExpID = 1 WHERE saID = ?"), {id}));
        MainWindow w(s.ctx);
        w.show();
        DeclarationList *l = w.declarations();
        QTableView *t = l->view();
        l->reload();
        for (int c = 0; c < l->model()->columnCount(); ++c) {
            int need = t->horizontalHeader()->sectionSizeHint(c);
            for (int i = 0; i < l->rowCount(); ++i)
                need = std::max(need, t->fontMetrics().horizontalAdvance(l->rowText(i, c)));
            QVERIFY2(t->columnWidth(c) >= need, qPrintable(l->model()->headerData(c, Qt::Horizontal).toString()));
        }
    }

    void anExportShowsAtOnceInTheList()
    {
        Store s;
        QVERIFY(s.open());
        auto &app = s.app;
        auto &db = s.db;
        const qint64 sa = db.insertRow(QStringLiteral("SezAnag"),
            {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), QStringLiteral("01234567897")},
             {QStringLiteral("RagSoc"), QStringLiteral("OFFICINA PROVA SRL")}, {QStringLiteral("attIstat"), QStringLiteral("381100")},
             {QStringLiteral("prvIstat"), 58}, {QStringLiteral("comIstat"), 91}, {QStringLiteral("Via"), QStringLiteral("VIA ROMA")}});
        db.insertRow(QStringLiteral("SezRif"),
            {{QStringLiteral("saID"), sa}, {QStringLiteral("rifCod"), QStringLiteral("120101")}, {QStringLiteral("sfSolidoNP"), 1},
             {QStringLiteral("qtaProd"), 5000}, {QStringLiteral("umiProd"), 1},
             {QStringLiteral("qtaGiacRec"), 5000}, {QStringLiteral("umiGiacRec"), 1}});
        MainWindow w(s.ctx);
        w.show();
        w.declarations()->reload();
        QCOMPARE(w.declarations()->currentId(), sa);
        DeclarationList *l = w.declarations();
        const int exported = 3;
        QCOMPARE(l->model()->headerData(exported, Qt::Horizontal).toString(), QStringLiteral("Esportata"));
        QVERIFY(l->rowText(0, exported).isEmpty());
        w.openForm(Form::Export);
        auto *f = openedForm<exch::gui::ExpForm>(w);
        QVERIFY(f);
        f->procedi();
        QCOMPARE(f->step(), 2);
        const QString file = s.d.filePath(QStringLiteral("Qor2019.000"));
        f->chooseFile = [file] { return file; };
        f->estrai();
        QCOMPARE(f->statusLabel()->text(), QStringLiteral("Esportazione terminata"));
        QCOMPARE(l->rowText(0, exported), QStringLiteral("sì"));
        consistent(w, app);
    }

    void connettiCreatesANewDatabase()
    {
        Store s;
        QVERIFY(s.open());
        auto &app = s.app;
        auto &msg = s.msg;
        auto &db = s.db;
        const QString old = s.path;
        QTemporaryDir &d = s.d;
        addDeclaration(db, "ALFA SRL", "00488410010");
        MainWindow w(s.ctx);
        w.declarations()->reload();
        QCOMPARE(w.declarations()->currentId() > 0, true);
        const QString fresh = d.filePath(QStringLiteral("nuovo/Qor2019.db"));
        QVERIFY(QDir().mkpath(d.filePath(QStringLiteral("nuovo"))));

        connetti(w, [&](Connetti &c) {
            // an existing file is never overwritten
            c.chooseNewFile = [old] { return old; };
            c.findChild<QPushButton *>(QStringLiteral("newArchive"))->click();
            QVERIFY(msg.last().contains(QStringLiteral("esiste già")));
            QCOMPARE(c.currentEdit()->text(), old);
            c.chooseNewFile = [fresh] { return fresh; };
            c.findChild<QPushButton *>(QStringLiteral("newArchive"))->click();
            QCOMPARE(c.currentEdit()->text(), fresh);
            QVERIFY(c.confirm());
        });
        QCOMPARE(db.currentPath(), fresh);
        QVERIFY(db.isCurrentOpen());
        QCOMPARE(db.dbVersion(), QStringLiteral("2.01.00"));
        QCOMPARE(db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 0);
        QVERIFY(db.scalar(QStringLiteral("SELECT COUNT(*) FROM Comuni")).toInt() > 0);
        QCOMPARE(app.readText(QStringLiteral("Qor2019"), QStringLiteral("Path")), fresh);
        QCOMPARE(w.declarations()->rowCount(), 0);
        QCOMPARE(w.declarations()->currentId(), 0);
        consistent(w, app);
    }
};

QTEST_MAIN(TestDeclarationList)
#include "test_declist.moc"
