// The rule that decides what to close before a working form opens.

#include "shell/formrule.h"

#include <QStringList>
#include <QTest>

class FakeHost : public FormHost {
public:
    QList<int> open;          // numbers of the open forms, in opening order
    QStringList log;
    int &current;
    int refuseToClose = 0;    // a form number that stays open when asked to close
    explicit FakeHost(int &cur) : current(cur) {}

    int openFormCount() const override { return int(open.size()); }
    void closeLastForm() override
    {
        log << QStringLiteral("close %1").arg(open.last());
        if (open.last() != refuseToClose)
            open.removeLast();
    }
    void processEvents() override { log << QStringLiteral("events"); }
    void showCompanion() override { log << QStringLiteral("companion"); }
    void showForm(int n) override
    {
        log << QStringLiteral("show %1").arg(n);
        if (!open.contains(n)) {
            open << n;
            current = n; // a form stores its number when it loads
        }
    }
};

class TestFormRule : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sameFormIsNeitherClosedNorReopened()
    {
        int current = 0;
        FakeHost host(current);
        FormOpener opener(current);
        opener.open(Form::Rif, host);
        host.log.clear();
        opener.open(Form::Rif, host);
        QCOMPARE(host.log, QStringList{QStringLiteral("show 4")});
        QCOMPARE(host.open, QList<int>{Form::Rif});
    }

    void anotherFormClosesEveryOpenFormLastFirst()
    {
        int current = 0;
        FakeHost host(current);
        FormOpener opener(current);
        host.open = {Form::SA1, Form::Rif};
        current = Form::Rif;
        opener.open(Form::Int, host);
        QCOMPARE(host.log, (QStringList{QStringLiteral("close 4"), QStringLiteral("events"),
                                        QStringLiteral("close 1"), QStringLiteral("events"),
                                        QStringLiteral("show 5")}));
        QCOMPARE(current, Form::Int);
        QVERIFY(!opener.closing());
    }

    void utilityFormsGetTheCompanionFirst()
    {
        int current = 0;
        FakeHost host(current);
        FormOpener opener(current);
        opener.open(Form::Verifica, host);
        QCOMPARE(host.log, (QStringList{QStringLiteral("companion"), QStringLiteral("show 101")}));
    }

    void afterTheTakeoverUtilitiesOpenWithoutClosing()
    {
        int current = Form::TakeoverClosed;
        FakeHost host(current);
        FormOpener opener(current);
        host.open = {Form::SA1};
        opener.open(Form::Export, host);
        QCOMPARE(host.log, (QStringList{QStringLiteral("companion"), QStringLiteral("show 103")}));
        QCOMPARE(host.open, (QList<int>{Form::SA1, Form::Export}));
        // a scheda is not a utility: it closes what is open
        current = Form::TakeoverClosed;
        host.log.clear();
        opener.open(Form::Rif, host);
        QVERIFY(host.log.contains(QStringLiteral("close 1")));
    }

    void aFormThatStaysOpenStopsTheRequest()
    {
        int current = Form::SA1;
        FakeHost host(current);
        FormOpener opener(current);
        host.open = {Form::SA1};
        host.refuseToClose = Form::SA1; // its user chose to keep editing
        opener.open(Form::Rif, host);
        QCOMPARE(host.open, QList<int>{Form::SA1});
        QVERIFY(!host.log.contains(QStringLiteral("show 4")));
        QVERIFY(!opener.closing());
    }
};

QTEST_GUILESS_MAIN(TestFormRule)
#include "test_formrule.moc"
