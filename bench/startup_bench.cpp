// Scale of the main window and of the import on big databases:
// - start-up: the whole program process until the main window has painted the
//   first rows of its declarations list and handles events, on databases of
//   1,000, 10,000 and 100,000 declarations, interleaved run by run with a Qt
//   hello world (a window with a label, shown, then quit) as the floor;
// - import of 8,000 declarations into a database already holding the largest
//   size against the same import into an empty one, interleaved.
//
// startup_bench [--sizes 1000,10000,100000] [--runs 5] [--import 8000]
// The generated databases are kept in /tmp/qor-bench for the next runs.
// Modes used by the run itself: --hello, --window DATAFOLDER.

#include "bench/benchutil.h"
#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/gui/declmodel.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/startup.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QSqlQuery>
#include <QTableView>
#include <QTimer>
#include <algorithm>
#include <cstdio>

namespace {

const QString Folder = QStringLiteral("/tmp/qor-bench");

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// Quits once the watched widget has painted and the events queued by then
// are handled.
class QuitAfterPaint : public QObject {
public:
    QElapsedTimer *clock = nullptr;
    bool eventFilter(QObject *o, QEvent *e) override
    {
        if (e->type() == QEvent::Paint && !done_) {
            done_ = true;
            QTimer::singleShot(0, qApp, [this] {
                if (clock)
                    std::printf("%.1f\n", clock->nsecsElapsed() / 1e6);
                QApplication::quit();
            });
        }
        return QObject::eventFilter(o, e);
    }

private:
    bool done_ = false;
};

int hello(int argc, char **argv)
{
    QApplication qa(argc, argv);
    QLabel l(QStringLiteral("Qor"));
    QuitAfterPaint q;
    l.installEventFilter(&q);
    l.show();
    return qa.exec();
}

// The steps of the program's own start, up to the list shown.
int window(int argc, char **argv, const QString &dataFolder)
{
    QElapsedTimer clock;
    clock.start();
    QApplication qa(argc, argv);
    qorClass app(dataFolder);
    ScriptedMessages msg;
    dbClass db(app, msg);
    AppContext ctx{app, db, msg};
    registerForms();
    MainWindow w(ctx);
    QuitAfterPaint q;
    q.clock = &clock;
    w.declarations()->view()->viewport()->installEventFilter(&q);
    w.show();
    startDatabase(app, db, msg);
    w.declarations()->reload();
    w.updateActions();
    w.updateStatus();
    const int r = qa.exec();
    if (w.declarations()->rowCount() == 0) {
        std::fprintf(stderr, "empty list\n");
        return 1;
    }
    return r;
}

// A database of n generated declarations, made once and kept.
QString database(qorClass &app, int n, quint32 seed)
{
    const QString path = Folder + QStringLiteral("/decl-%1-%2.db").arg(n).arg(seed);
    if (QFile::exists(path))
        return path;
    const QString part = path + QStringLiteral(".part");
    QFile::remove(part);
    QString error;
    if (!refdata::createDatabase(part, app.refdataFolder(), &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return {};
    }
    ScriptedMessages msg;
    dbClass db(app, msg);
    db.setCurrentPath(part);
    if (!db.connect())
        return {};
    if (!bench::generate(db, n, nullptr, seed))
        return {};
    db.disconnect();
    QFile::rename(part, path);
    return path;
}

// Wall time of a whole child process in ms; *inside gets what it printed
// (the time from the start of its main), when asked.
double runChild(const QStringList &args, double *inside = nullptr)
{
    QElapsedTimer t;
    QProcess p;
    t.start();
    p.start(QCoreApplication::applicationFilePath(), args);
    p.waitForFinished(-1);
    const double ms = t.nsecsElapsed() / 1e6;
    if (p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0) {
        if (inside)
            *inside = p.readAllStandardOutput().trimmed().toDouble();
        return ms;
    }
    std::fprintf(stderr, "%s failed:\n%s\n", qPrintable(args.join(u' ')), p.readAllStandardError().constData());
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (argc > 1 && !qstrcmp(argv[1], "--hello"))
        return hello(argc, argv);
    if (argc > 2 && !qstrcmp(argv[1], "--window"))
        return window(argc, argv, QString::fromLocal8Bit(argv[2]));

    QCoreApplication qapp(argc, argv);
    QList<int> sizes{1000, 10000, 100000};
    int runs = 5, importN = 8000;
    const QStringList a = qapp.arguments();
    for (int i = 1; i + 1 < a.size(); i += 2) {
        if (a[i] == QLatin1String("--sizes")) {
            sizes.clear();
            for (const QString &s : a[i + 1].split(u','))
                sizes << s.toInt();
        } else if (a[i] == QLatin1String("--runs")) {
            runs = a[i + 1].toInt();
        } else if (a[i] == QLatin1String("--import")) {
            importN = a[i + 1].toInt();
        }
    }
    QDir().mkpath(Folder);
    qorClass app(Folder);

    std::printf("start-up until the first rows of the list are painted (whole process, median of %d, "
                "interleaved with a Qt hello world)\n",
                runs);
    for (int n : sizes) {
        const QString db = database(app, n, 2019);
        if (db.isEmpty())
            return 1;
        // A data folder of its own whose settings name the database.
        const QString data = Folder + QStringLiteral("/data-%1").arg(n);
        QDir().mkpath(data);
        {
            qorClass d(data);
            d.writeText(QStringLiteral("Qor2019"), QStringLiteral("Path"), db);
        }
        std::vector<double> w, h, in;
        runChild({QStringLiteral("--window"), data}); // warm-up
        for (int r = 0; r < runs; ++r) {
            h.push_back(runChild({QStringLiteral("--hello")}));
            double inside = 0;
            w.push_back(runChild({QStringLiteral("--window"), data}, &inside));
            in.push_back(inside);
        }
        std::printf("%7d declarations: window %.0f ms (%.0f ms from main), hello world %.0f ms, difference %.0f ms, "
                    "ratio %.2f\n",
                    n, median(w), median(in), median(h), median(w) - median(h), median(w) / median(h));
        std::fflush(stdout);
    }

    if (importN > 0 && !sizes.isEmpty()) {
        const int full = *std::max_element(sizes.begin(), sizes.end());
        // Other declarations than those of the full database: another seed.
        const QString source = database(app, importN, 77);
        const QString fullDb = database(app, full, 2019);
        const QString file = Folder + QStringLiteral("/import-%1.000").arg(importN);
        ScriptedMessages msg;
        if (!QFile::exists(file)) {
            dbClass db(app, msg);
            db.setCurrentPath(source);
            if (!db.connect())
                return 1;
            QList<qint64> ids;
            QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY saID"));
            while (q.next())
                ids << q.value(0).toLongLong();
            if (exch::exportDeclarations(db, msg, file, ids, {}) != exch::ExportResult::Done)
                return 1;
        }
        const QString empty = Folder + QStringLiteral("/empty.db");
        QFile::remove(empty);
        QString error;
        if (!refdata::createDatabase(empty, app.refdataFolder(), &error))
            return 1;
        auto importInto = [&](const QString &from) {
            const QString work = Folder + QStringLiteral("/work.db");
            QFile::remove(work);
            QFile::copy(from, work);
            dbClass db(app, msg);
            db.setCurrentPath(work);
            if (!db.connect())
                return -1.0;
            QElapsedTimer t;
            t.start();
            const exch::ImportResult r = exch::importFile(db, msg, file);
            const double s = t.nsecsElapsed() / 1e9;
            return r.status == exch::ImportResult::Done ? s : -1.0;
        };
        std::vector<double> f, e;
        const int importRuns = std::max(1, runs / 2);
        for (int r = 0; r < importRuns; ++r) {
            e.push_back(importInto(empty));
            f.push_back(importInto(fullDb));
        }
        std::printf("import of %d declarations (median of %d, interleaved): into %d declarations %.2f s, "
                    "into an empty database %.2f s, ratio %.2f\n",
                    importN, importRuns, full, median(f), median(e), median(f) / median(e));
    }
    return 0;
}
