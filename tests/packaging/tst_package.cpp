// The Debian package as a user receives it: built with CPack from this build
// folder, then read and unpacked with dpkg-deb. Skipped where dpkg-deb is
// missing.

#include "refdata/csv.h"
#include "refdata/template.h"
#include "shell/qorclass.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

namespace {

struct Run {
    int code = -1;
    QString out;
};

Run run(const QString &program, const QStringList &args, const QString &cwd = {},
        const QProcessEnvironment &env = QProcessEnvironment::systemEnvironment())
{
    QProcess p;
    p.setProcessEnvironment(env);
    if (!cwd.isEmpty())
        p.setWorkingDirectory(cwd);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    Run r;
    if (!p.waitForFinished(600000))
        return r;
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAll());
    return r;
}

// Files below a folder, as paths relative to it.
QStringList filesBelow(const QString &root)
{
    QStringList out;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        out << QDir(root).relativeFilePath(it.next());
    out.sort();
    return out;
}

} // namespace

class TestPackage : public QObject {
    Q_OBJECT
    QTemporaryDir dir_;
    QString deb_;
    QStringList files_;  // regular files of the package, "usr/bin/qor"
    QString control_;    // dpkg-deb -I
    QString root_;       // the package unpacked

    QString path(const QString &rel) const { return dir_.filePath(rel); }

    QString controlField(const QString &name) const
    {
        const QRegularExpression re(QStringLiteral("^ *%1: (.*)$").arg(name),
                                    QRegularExpression::MultilineOption);
        return re.match(control_).captured(1).trimmed();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir_.isValid());
        const Run built = run(QStringLiteral(QOR_CPACK),
                              {QStringLiteral("--config"), QStringLiteral(QOR_BUILD_DIR "/CPackConfig.cmake"),
                               QStringLiteral("-G"), QStringLiteral("DEB"), QStringLiteral("-B"), path(QStringLiteral("pkg"))},
                              QStringLiteral(QOR_BUILD_DIR));
        QVERIFY2(built.code == 0, qPrintable(built.out));
        const QStringList debs = QDir(path(QStringLiteral("pkg"))).entryList({QStringLiteral("*.deb")}, QDir::Files);
        QCOMPARE(debs.size(), 1);
        QVERIFY2(debs.first().startsWith(QLatin1String("qor2019_")), qPrintable(debs.first()));
        deb_ = path(QStringLiteral("pkg/") + debs.first());

        const Run list = run(QStringLiteral("dpkg-deb"), {QStringLiteral("-c"), deb_});
        QVERIFY2(list.code == 0, qPrintable(list.out));
        // "-rw-r--r-- root/root  1234 2026-01-01 10:00 ./usr/bin/qor"
        for (const QString &line : list.out.split(u'\n', Qt::SkipEmptyParts)) {
            const QStringList cols = line.split(u' ', Qt::SkipEmptyParts);
            QVERIFY2(cols.size() >= 6, qPrintable(line));
            if (cols.first().startsWith(u'-'))
                files_ << cols.at(5).mid(2);
        }
        files_.sort();

        const Run info = run(QStringLiteral("dpkg-deb"), {QStringLiteral("-I"), deb_});
        QVERIFY2(info.code == 0, qPrintable(info.out));
        control_ = info.out;

        root_ = path(QStringLiteral("root"));
        const Run unpack = run(QStringLiteral("dpkg-deb"), {QStringLiteral("-x"), deb_, root_});
        QVERIFY2(unpack.code == 0, qPrintable(unpack.out));
    }

    // The package carries exactly what an installation puts in place, under
    // /usr, and that includes the program, its help, the data notes and the
    // desktop entry with its icon.
    void carriesWhatInstallPuts()
    {
        const Run inst = run(QStringLiteral(QOR_CMAKE), {QStringLiteral("--install"), QStringLiteral(QOR_BUILD_DIR),
                                                        QStringLiteral("--prefix"), path(QStringLiteral("prefix"))});
        QVERIFY2(inst.code == 0, qPrintable(inst.out));
        QStringList installed;
        for (const QString &f : filesBelow(path(QStringLiteral("prefix"))))
            installed << QStringLiteral("usr/") + f;
        QCOMPARE(files_, installed);
        for (const char *f : {"usr/bin/qor", "usr/share/qor2019/help/index.html",
                              "usr/share/applications/qor2019.desktop",
                              "usr/share/doc/qor2019/refdata/README.md",
                              "usr/share/doc/qor2019/refdata/PROVENANCE.md"})
            QVERIFY2(files_.contains(QLatin1String(f)), f);
    }

    // The control data names the package and every library the program needs,
    // each a package this system knows.
    void declaresDependencies()
    {
        QCOMPARE(controlField(QStringLiteral("Package")), QStringLiteral("qor2019"));
        QVERIFY(!controlField(QStringLiteral("Version")).isEmpty());
        QVERIFY(!controlField(QStringLiteral("Architecture")).isEmpty());
        QStringList names;
        for (const QString &dep : controlField(QStringLiteral("Depends")).split(u',', Qt::SkipEmptyParts))
            names << dep.trimmed().section(u' ', 0, 0);
        for (const char *needed : {"libqt6core6", "libqt6gui6", "libqt6widgets6", "libqt6sql6",
                                   "libqt6sql6-sqlite", "libqt6sql6-psql", "qt6-translations-l10n",
                                   "libsqlite3-0"})
            QVERIFY2(names.contains(QLatin1String(needed)), needed);
        for (const QString &name : names) {
            const Run known = run(QStringLiteral("dpkg-query"), {QStringLiteral("-W"), name});
            const Run available = known.code == 0 ? known
                                                  : run(QStringLiteral("apt-cache"), {QStringLiteral("show"), name});
            QVERIFY2(available.code == 0, qPrintable(QStringLiteral("unknown package ") + name));
        }
    }

    // The menu entry starts the packaged program and shows a packaged icon.
    void desktopEntry()
    {
        QFile f(root_ + QStringLiteral("/usr/share/applications/qor2019.desktop"));
        QVERIFY(f.open(QIODevice::ReadOnly | QIODevice::Text));
        const QStringList lines = QString::fromUtf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.value(0), QStringLiteral("[Desktop Entry]"));
        QHash<QString, QString> entry;
        for (const QString &l : lines.mid(1))
            if (!l.startsWith(u'#'))
                entry.insert(l.section(u'=', 0, 0), l.section(u'=', 1));
        QCOMPARE(entry.value(QStringLiteral("Type")), QStringLiteral("Application"));
        QVERIFY(!entry.value(QStringLiteral("Name")).isEmpty());
        QVERIFY(entry.value(QStringLiteral("Categories")).split(u';').contains(QStringLiteral("Office")));
        const QString exec = entry.value(QStringLiteral("Exec")).section(u' ', 0, 0);
        QVERIFY2(files_.contains(QStringLiteral("usr/bin/") + exec), qPrintable(exec));
        const QString icon = entry.value(QStringLiteral("Icon"));
        const QRegularExpression iconFile(QStringLiteral("^usr/share/icons/hicolor/[^/]+/apps/%1\\.(svg|png)$")
                                              .arg(QRegularExpression::escape(icon)));
        QVERIFY2(!icon.isEmpty() && !files_.filter(iconFile).isEmpty(), qPrintable(icon));
    }

    // The packaged program, started from an unrelated folder with none of its
    // variables set, builds a full database and runs the demonstration.
    void installedProgramWorksAnywhere()
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char *v : {"QOR_REFDATA", "QOR_DEV", "QOR_DATA"})
            env.remove(QLatin1String(v));
        env.insert(QStringLiteral("HOME"), path(QStringLiteral("home")));
        env.remove(QStringLiteral("XDG_DATA_HOME"));
        const QString elsewhere = path(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkpath(elsewhere) && QDir().mkpath(path(QStringLiteral("home"))));
        const QString qor = root_ + QStringLiteral("/usr/bin/qor");

        const Run help = run(qor, {QStringLiteral("--help")}, elsewhere, env);
        QCOMPARE(help.code, 0);
        QVERIFY2(help.out.contains(QLatin1String("Uso: qor")), qPrintable(help.out));

        const QString db = path(QStringLiteral("elsewhere/Qor2019.db"));
        const Run init = run(qor, {QStringLiteral("init"), db}, elsewhere, env);
        QVERIFY2(init.code == 0, qPrintable(init.out));
        {
            QSqlDatabase c = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("installed"));
            c.setDatabaseName(db);
            QVERIFY(c.open());
            for (const QString &t : refdata::referenceTables()) {
                QStringList header;
                QList<QStringList> rows;
                QString error;
                QVERIFY2(CsvReader::readFile(QDir(qorClass::builtinRefdataFolder()).filePath(t + QStringLiteral(".csv")),
                                             &header, &rows, &error), qPrintable(error));
                QSqlQuery q(c);
                QVERIFY(q.exec(QStringLiteral("SELECT COUNT(*) FROM ") + t) && q.next());
                QVERIFY2(q.value(0).toInt() == rows.size(), qPrintable(t));
            }
        }
        QSqlDatabase::removeDatabase(QStringLiteral("installed"));

        const Run demo = run(qor, {QStringLiteral("demo"), QStringLiteral("--dir"), path(QStringLiteral("demo"))},
                             elsewhere, env);
        QVERIFY2(demo.code == 0, qPrintable(demo.out));
    }
};

int main(int argc, char **argv)
{
    if (QStandardPaths::findExecutable(QStringLiteral("dpkg-deb")).isEmpty()) {
        std::puts("dpkg-deb not installed: the Debian package cannot be read here");
        return QOR_TEST_SKIP_CODE;
    }
    QCoreApplication app(argc, argv);
    TestPackage tc;
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_package.moc"
