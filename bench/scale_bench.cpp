// Verification, export, import, list print and takeover at growing sizes, each
// run in a process of its own so that its peak memory (maximum resident set)
// is its own, against the floors of the storage measured with the sqlite3
// shell in the same rounds:
//   verify, export      SELECT * of every table of the declaration tree
//   import              .import of as many rows as the file has lines, one transaction
//   takeover            ATTACH + INSERT ... SELECT of the tree, one transaction
//   list print          (no floor: its figure is the growth with the size)
//   read                the tree reader alone over every declaration, against
//                       the same SELECT * floor
// Each round runs floor, operation, floor, operation ... so that the load of
// the machine weighs on both alike; the medians of the rounds are printed.
//
// scale_bench [--rounds R] [--dir FOLDER] [SIZE ...]    (default sizes 1000 10000 100000)
// The generated databases are kept in FOLDER/<size>/ (default /tmp/qor-scale)
// and reused by later runs.
//
// The program also serves as the child of each measured run:
//   scale_bench --child OPERATION ARGS...
//
// On PostgreSQL (a database made with "qor init postgresql://..." and left
// empty), the same runs stream from the server:
//   scale_bench --pg URL [--rounds R] FILE.000
// imports the file once, then reads every declaration tree, verifies, prints
// the list and exports, round after round.
#include "bench/benchutil.h"
#include "exchange/expclass.h"
#include "exchange/exportproc.h"
#include "exchange/importer.h"
#include "print/elenco.h"
#include "refdata/template.h"
#include "sections/takeover/takeover.h"
#include "shell/tree/tree.h"
#include "shell/context.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "verify/engine.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <map>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Figure {
    double wall = 0;  // s
    double cpu = 0;   // s, user + system
    long maxRssKb = 0;
    bool ok = false;
};

// Runs a program to its end, its output thrown away; its peak memory and
// processor time come from the kernel's account of the child. The files the
// runs before it wrote (an export of 100,000 declarations writes 500 MB) are
// first put on disk, so that no run pays for the writing of another.
Figure runProcess(const QStringList &argv)
{
    ::sync();
    Figure f;
    std::vector<QByteArray> bytes;
    for (const QString &a : argv)
        bytes.push_back(a.toLocal8Bit());
    std::vector<char *> args;
    for (QByteArray &b : bytes)
        args.push_back(b.data());
    args.push_back(nullptr);
    QElapsedTimer t;
    t.start();
    const pid_t pid = fork();
    if (pid == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    rusage u{};
    if (pid < 0 || wait4(pid, &status, 0, &u) != pid)
        return f;
    f.wall = t.elapsed() / 1000.0;
    f.cpu = double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
    f.maxRssKb = u.ru_maxrss;
    f.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!f.ok)
        std::fprintf(stderr, "failed (%d): %s\n", status, qPrintable(argv.join(u' ')));
    return f;
}

QString self;

Figure child(const QStringList &args)
{
    return runProcess(QStringList{self, QStringLiteral("--child")} + args);
}

Figure sqlite(const QString &db, const QString &scriptFile)
{
    return runProcess({QStringLiteral("sqlite3"), db, QStringLiteral(".read ") + scriptFile});
}

bool copyFresh(const QString &from, const QString &to)
{
    QFile::remove(to);
    QFile::remove(to + QStringLiteral("-journal"));
    return QFile::copy(from, to);
}

// An export too big for one file goes on in numbered parts beside it.
QStringList parts(const QString &file)
{
    QStringList out;
    for (int n = 1; QFile::exists(exch::expClass::partPath(file, n)); ++n)
        out << exch::expClass::partPath(file, n);
    return out;
}

QList<qint64> allDeclarations(dbClass &db)
{
    QList<qint64> ids;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY saID"));
    while (q.next())
        ids << q.value(0).toLongLong();
    return ids;
}

// ---- the measured operations, each in its own process --------------------

int childMain(QStringList a)
{
    const QString op = a.takeFirst();
    const QString work = dbClass::isPostgresUrl(a.value(0)) ? QDir::tempPath() + QStringLiteral("/qor-scale-pg")
                                                             : QFileInfo(a.value(0)).absolutePath();
    QDir().mkpath(work);
    qorClass app(work);
    ScriptedMessages msg;
    dbClass db(app, msg);
    if (op == QStringLiteral("generate")) { // DB N FILE EMPTY
        QString error;
        if (!refdata::createDatabase(a[3], app.refdataFolder(), &error) || !copyFresh(a[3], a[0])) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            return 1;
        }
        db.setCurrentPath(a[0]);
        if (!db.connect() || !bench::generate(db, a[1].toInt()))
            return 1;
        // All of them, those with the generator's deliberate errors too: the
        // import and the takeover then carry the same declarations.
        return exch::exportDeclarations(db, msg, a[2], allDeclarations(db)) == exch::ExportResult::Done ? 0 : 1;
    }
    db.setCurrentPath(a[0]);
    if (op == QStringLiteral("takeover"))
        db.setPreviousPath(a[1]);
    if (!db.connect())
        return 1;
    if (op == QStringLiteral("read")) { // DB: every declaration tree, all columns
        tree::Reader reader(db.current());
        reader.selectAll();
        qint64 rows = 0;
        std::function<void(const tree::Node &)> count = [&](const tree::Node &n) {
            ++rows;
            for (const tree::Node *c : n.children)
                count(*c);
        };
        while (const tree::Node *sa = reader.next())
            count(*sa);
        if (reader.failed())
            std::fprintf(stderr, "%s\n", qPrintable(reader.error()));
        return reader.failed() ? 1 : 0;
    }
    if (op == QStringLiteral("verify")) { // DB REPORT
        verify::Engine engine(db, msg);
        if (!engine.openReport(a[1]))
            return 1;
        engine.run(verify::Mode::All, 0, true, false);
        return engine.failed() ? 1 : 0;
    }
    if (op == QStringLiteral("export")) { // DB FILE
        // In the order of the extraction: by tax code.
        QList<qint64> ids;
        QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY CodFisc, saID"));
        while (q.next())
            ids << q.value(0).toLongLong();
        return exch::exportDeclarations(db, msg, a[1], ids) == exch::ExportResult::Done ? 0 : 1;
    }
    if (op == QStringLiteral("import")) { // DB FILE (with its parts)
        for (const QString &part : parts(a[1]))
            if (exch::importFile(db, msg, part).status != exch::ImportResult::Done)
                return 1;
        return 0;
    }
    if (op == QStringLiteral("print")) { // DB PDF
        QString error;
        return print::printElenco(db, 0, QStringLiteral("Tutte le dichiarazioni"), a[1], &error) ? 0 : 1;
    }
    if (op == QStringLiteral("takeover")) { // DB PREVIOUS
        // Every declaration of last year, in the order of the takeover's
        // list (by name), as the window and the command line pass them.
        QList<qint64> ids;
        {
            QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY RagSoc, saID"), {},
                                   dbClass::Which::Previous);
            while (q.next())
                ids << q.value(0).toLongLong();
        }
        AppContext ctx{app, db, msg};
        const takeover::Result r = takeover::run(ctx, ids, {true, false});
        return r.status == takeover::Result::Done && r.taken == ids.size() ? 0 : 1;
    }
    std::fprintf(stderr, "unknown operation %s\n", qPrintable(op));
    return 2;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

struct Series {
    std::vector<double> wall, floor;
    long maxRssKb = 0;
    void add(const Figure &op, const Figure *fl)
    {
        wall.push_back(op.wall);
        if (fl)
            floor.push_back(fl->wall);
        maxRssKb = std::max(maxRssKb, op.maxRssKb);
    }
};

int pgRuns(const QString &url, const QString &file, int rounds)
{
    const QString out = QDir::tempPath() + QStringLiteral("/qor-scale-pg");
    QDir().mkpath(out);
    std::printf("%-9s %10s %11s\n", "operation", "wall s", "max RSS kB");
    auto show = [](const char *op, const Figure &f) {
        std::printf("%-9s %10.3f %11ld%s\n", op, f.wall, f.maxRssKb, f.ok ? "" : "  FAILED");
        std::fflush(stdout);
        return f.ok;
    };
    if (!show("import", child({QStringLiteral("import"), url, file})))
        return 1;
    for (int r = 0; r < rounds; ++r) {
        show("read", child({QStringLiteral("read"), url}));
        show("verify", child({QStringLiteral("verify"), url, out + QStringLiteral("/verify.txt")}));
        show("print", child({QStringLiteral("print"), url, out + QStringLiteral("/elenco.pdf")}));
        for (const QString &part : parts(out + QStringLiteral("/out.000")))
            QFile::remove(part);
        show("export", child({QStringLiteral("export"), url, out + QStringLiteral("/out.000")}));
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication qapp(argc, argv);
    QStringList args = qapp.arguments();
    self = QFileInfo(args.takeFirst()).absoluteFilePath();
    if (args.value(0) == QStringLiteral("--child")) {
        args.removeFirst();
        return childMain(args);
    }
    int rounds = 3;
    QString root = QStringLiteral("/tmp/qor-scale"), pg;
    QList<int> sizes;
    while (!args.isEmpty()) {
        const QString a = args.takeFirst();
        if (a == QStringLiteral("--rounds"))
            rounds = args.takeFirst().toInt();
        else if (a == QStringLiteral("--dir"))
            root = args.takeFirst();
        else if (a == QStringLiteral("--pg"))
            pg = args.takeFirst();
        else if (!pg.isEmpty())
            return pgRuns(pg, a, rounds);
        else
            sizes << a.toInt();
    }
    if (sizes.isEmpty())
        sizes = {1000, 10000, 100000};

    std::printf("%-9s %-9s %10s %10s %7s %11s\n", "size", "operation", "wall s", "floor s", "ratio", "max RSS kB");
    std::map<QString, std::map<int, long>> rss;
    for (const int n : sizes) {
        const QString dir = root + u'/' + QString::number(n);
        QDir().mkpath(dir);
        auto at = [&](const char *name) { return dir + u'/' + QString::fromLatin1(name); };
        const QString src = at("src.db"), empty = at("empty.db"), file = at("all.000");
        if (!QFile::exists(file) || !QFile::exists(src)) {
            QElapsedTimer t;
            t.start();
            if (!child({QStringLiteral("generate"), src, QString::number(n), file, empty}).ok)
                return 1;
            std::fprintf(stderr, "generated %d declarations in %.0f s\n", n, t.elapsed() / 1000.0);
        }
        // The floors' scripts.
        QString select, copy = QStringLiteral("ATTACH '%1' AS p;\nBEGIN;\n").arg(src);
        for (const char *tb : bench::Tables) {
            select += QStringLiteral("SELECT * FROM %1;\n").arg(QString::fromLatin1(tb));
            copy += QStringLiteral("INSERT INTO %1 SELECT * FROM p.%1;\n").arg(QString::fromLatin1(tb));
        }
        copy += QStringLiteral("COMMIT;\n");
        qint64 lines = 0;
        for (const QString &part : parts(file)) {
            QFile f(part);
            if (!f.open(QIODevice::ReadOnly))
                return 1;
            while (!f.atEnd())
                f.readLine(), ++lines;
        }
        const QString csv = at("rows.csv");
        if (!QFile::exists(csv)) {
            QFile f(csv);
            if (!f.open(QIODevice::WriteOnly))
                return 1;
            for (qint64 i = 0; i < lines; ++i)
                f.write(QByteArray::number(i) + ",ABCDEFGHIJKLMNOP,ROSSI RECUPERI SRL,VIA ROMA,1,10100,1,272,12345000,1\n");
        }
        const QString load = QStringLiteral("CREATE TABLE t (id INTEGER PRIMARY KEY, cf TEXT, rs TEXT, via TEXT, "
                                            "civ TEXT, cap TEXT, prv INTEGER, com INTEGER, qta BIGINT, umi INTEGER);\n"
                                            "BEGIN;\n.mode csv\n.import %1 t\nCOMMIT;\n").arg(csv);
        auto script = [&](const char *name, const QString &text) {
            QFile f(at(name));
            f.open(QIODevice::WriteOnly | QIODevice::Truncate);
            f.write(text.toUtf8());
            return f.fileName();
        };
        const QString selectSql = script("select.sql", select), copySql = script("copy.sql", copy),
                      loadSql = script("load.sql", load);

        std::map<QString, Series> s;
        for (int r = 0; r < rounds; ++r) {
            const Figure fs1 = sqlite(src, selectSql);
            s["verify"].add(child({QStringLiteral("verify"), src, at("verify.txt")}), &fs1);
            const Figure fs2 = sqlite(src, selectSql);
            for (const QString &part : parts(at("out.000")))
                QFile::remove(part);
            s["export"].add(child({QStringLiteral("export"), src, at("out.000")}), &fs2);
            QFile::remove(at("raw.db"));
            const Figure fl = sqlite(at("raw.db"), loadSql);
            if (!copyFresh(empty, at("imported.db")))
                return 1;
            s["import"].add(child({QStringLiteral("import"), at("imported.db"), file}), &fl);
            s["print"].add(child({QStringLiteral("print"), src, at("elenco.pdf")}), nullptr);
            s["read"].add(child({QStringLiteral("read"), src}), &fs2);
            if (!copyFresh(empty, at("floor.db")) || !copyFresh(empty, at("taken.db")))
                return 1;
            const Figure fc = sqlite(at("floor.db"), copySql);
            s["takeover"].add(child({QStringLiteral("takeover"), at("taken.db"), src}), &fc);
        }
        for (const char *op : {"read", "verify", "export", "import", "print", "takeover"}) {
            const Series &x = s[op];
            const double w = median(x.wall), f = median(x.floor);
            rss[op][n] = x.maxRssKb;
            if (f > 0)
                std::printf("%-9d %-9s %10.3f %10.3f %7.2f %11ld\n", n, op, w, f, w / f, x.maxRssKb);
            else
                std::printf("%-9d %-9s %10.3f %10s %7s %11ld\n", n, op, w, "-", "-", x.maxRssKb);
        }
        std::printf("%-9d takeover / import %.2f\n", n, median(s["takeover"].wall) / median(s["import"].wall));
        std::fflush(stdout);
    }
    // Peak memory against the smallest size measured.
    if (sizes.size() > 1) {
        std::printf("max RSS growth from %d to %d declarations:", sizes.first(), sizes.last());
        for (auto &[op, bySize] : rss)
            std::printf(" %s %+.0f%%", qPrintable(op),
                        100.0 * (double(bySize[sizes.last()]) / std::max(1L, bySize[sizes.first()]) - 1));
        std::printf("\n");
    }
    return 0;
}
