// Forms of the vehicle and electrical-equipment schede: codes entered in the
// frames, save through the form, module buttons enabled once saved, the
// module form opened on a code. Screenshots go to the folder named by
// QOR_SHOTS when it is set.

#include "../testdb.h"
#include "sections/codes.h"
#include "sections/imb/gui/imbform.h"
#include "sections/stream/gui/streamform.h"
#include "shell/formrule.h"
#include "shell/gui/formregistry.h"
#include "ui/fieldform.h"

#include <QDir>
#include <QComboBox>
#include <QPushButton>

namespace {
void shot(QWidget *w, const QString &name)
{
    QCoreApplication::processEvents(); // the layout settles first
    if (qEnvironmentVariableIsSet("QOR_SHOTS"))
        w->grab().save(qEnvironmentVariable("QOR_SHOTS") + QStringLiteral("/%1.png").arg(name));
}
} // namespace

class TestStreamsGui : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                                           {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")}});
    }

    void autForm()
    {
        streamgui::StreamForm f(*t.ctx, stream::vfu(stream::Aut), saID);
        f.show();
        QVERIFY(!f.moduleButton(codes::RT)->isEnabled());
        imbgui::WasteGrid *received = f.grid(codes::VfuReceived);
        received->item(0, 0)->setText(QStringLiteral("010101"));
        QCOMPARE(t.msg.last(), stream::notAdmittedMessage(stream::vfu(stream::Aut)));
        QCOMPARE(received->rowCount(), 1);
        received->item(0, 0)->setText(QStringLiteral("160104"));
        received->item(0, 2)->setText(QStringLiteral("2500"));
        QCOMPARE(received->rowCount(), 2);
        QVERIFY(f.saveButton()->isEnabled());
        QVERIFY(f.save());
        QVERIFY(f.currentKey() > 0);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT qta FROM RecVfu WHERE vfuID = ?"), {f.currentKey()}).toLongLong(),
                 2500000);
        QVERIFY(f.moduleButton(codes::RT)->isEnabled());
        QVERIFY(!f.saveButton()->isEnabled());
        shot(&f, QStringLiteral("aut"));
        f.resize(980, 1400);
        shot(&f, QStringLiteral("aut-whole"));
        QWidget *rt = f.openModules(codes::RT, 0);
        QVERIFY(rt);
        QVERIFY(rt->windowTitle().startsWith(QStringLiteral("Modulo RT-VEIC")));
        shot(rt, QStringLiteral("rt-veic"));
        rt->close();
        // Produced rows are not offered to RT-VEIC.
        QWidget *none = f.openModules(codes::RT, 1);
        QVERIFY(!none);
    }

    void menuFormsOpenByNumber()
    {
        registerForms();
        t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(saID));
        const QVector<std::pair<int, QString>> forms = {
            {Form::VfuAut, QStringLiteral("Scheda AUT - Autodemolizione")},
            {Form::VfuRot, QStringLiteral("Scheda ROT - Rottamazione")},
            {Form::VfuFra, QStringLiteral("Scheda FRA - Frantumazione")},
            {Form::RaeeTra, QStringLiteral("Scheda TRA-RAEE - Impianti di trattamento")},
            {Form::RaeeCr, QStringLiteral("Scheda CR-RAEE - Centri di raccolta")},
            {Form::Imb, QStringLiteral("Scheda IMB - Gestione rifiuti da imballaggio")},
            {Form::Mat, QStringLiteral("Scheda MAT - Materiali secondari")}};
        for (const auto &[number, title] : forms) {
            QVERIFY2(formRegistry().contains(number), qPrintable(title));
            QVERIFY(formRegistry().value(number).needsDeclaration);
            std::unique_ptr<QWidget> w(formRegistry().value(number).make(*t.ctx, nullptr));
            QVERIFY(w);
            QCOMPARE(w->windowTitle(), title);
        }
    }

    void otherKindsOpen()
    {
        for (int k : {stream::Rot, stream::Fra}) {
            streamgui::StreamForm f(*t.ctx, stream::vfu(k), saID);
            f.show();
            QCOMPARE(f.windowTitle(), stream::vfu(k).title);
            f.resize(980, 1300);
            shot(&f, stream::vfu(k).name.toLower());
        }
        for (int k : {int(codes::RaeeTra), int(codes::RaeeCr)}) {
            streamgui::StreamForm f(*t.ctx, stream::raee(k), saID);
            f.show();
            // TRA has three frames, CR one.
            QVERIFY(f.grid(1) != nullptr);
            QCOMPARE(f.grid(3) != nullptr, k == codes::RaeeTra);
            QCOMPARE(f.grid(2) != nullptr, k == codes::RaeeTra);
            // The categories are those of the code list.
            auto *cat = f.findChild<QComboBox *>(QStringLiteral("srRAEEList"));
            QVERIFY(cat);
            QCOMPARE(cat->count(), 7);
            QCOMPARE(cat->itemText(1), QStringLiteral("1 - Apparecchiature per lo scambio di temperatura"));
            QCOMPARE(cat->itemData(6).toInt(), 6);
            shot(&f, stream::raee(k).name.toLower());
            f.resize(980, 1300);
            shot(&f, stream::raee(k).name.toLower() + QStringLiteral("-whole"));
        }
    }

    // A CR-RAEE scheda saved from its form keeps every row in its one frame.
    void crForm()
    {
        const qint64 other = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("CR")}});
        streamgui::StreamForm f(*t.ctx, stream::raee(codes::RaeeCr), other);
        f.show();
        auto *cat = f.findChild<QComboBox *>(QStringLiteral("srRAEEList"));
        cat->setCurrentIndex(cat->findData(3));
        imbgui::WasteGrid *g = f.grid(1);
        g->item(0, 0)->setText(QStringLiteral("200121"));
        g->item(1, 0)->setText(QStringLiteral("160214"));
        QCOMPARE(g->rowCount(), 3);
        QVERIFY(f.save());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT srRAEE FROM SezRaee WHERE srID = ?"), {f.currentKey()}).toInt(), 3);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM RecRaee WHERE srID = ? AND Posizione = 1"),
                              {f.currentKey()})
                     .toInt(),
                 2);
        shot(&f, QStringLiteral("cr-raee-saved"));
    }
};

QTEST_MAIN(TestStreamsGui)
#include "test_streams_gui.moc"
