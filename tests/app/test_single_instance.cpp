// The single-instance socket: what a later launch sends, and a running copy that does not answer.
// (A socket left by kill -9: test_launch starts Velora again after one.)
#include "testing.h"

#include "single_instance.h"

#include <QLocalServer>
#include <QTemporaryDir>

#include <sys/un.h>

using namespace velora;

class TestSingleInstance : public QObject {
    Q_OBJECT
    QTemporaryDir runtime;

private slots:
    void initTestCase() { qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path())); }

    void requestsRoundTripAndBadOnesAreRefused()
    {
        const SingleInstance::Request r{{QStringLiteral("/home/ann/Pictures/été 2024/a \"b\".jpg"), QStringLiteral("/x\ny")},
                                        "launcher-42_TIME1234"};
        QCOMPARE(SingleInstance::decode(SingleInstance::encode(r)), std::optional(r));
        QVERIFY(SingleInstance::encode(r).endsWith('\n'));
        QCOMPARE(SingleInstance::decode("{}"), std::optional(SingleInstance::Request{}));
        for (const QByteArray& bad : {QByteArray("not json"), QByteArray("[]"), QByteArray(R"({"paths":"a"})"),
                                     QByteArray(R"({"paths":[1]})"), QByteArray(R"({"token":7})")})
            QCOMPARE(SingleInstance::decode(bad), std::nullopt);

        // Short enough for a socket address, and one per library.
        const QString a = SingleInstance::socketPathFor(QStringLiteral("/home/ann/.local/share/Velora"));
        QVERIFY(a.startsWith(runtime.path()));
        QVERIFY(a.toUtf8().size() < int(sizeof(sockaddr_un::sun_path)));
        QVERIFY(a != SingleInstance::socketPathFor(QStringLiteral("/home/ann/.local/share/Velora Demo")));
    }

    void aCopyThatDoesNotAnswerIsReported()
    {
        // Listening, but never reading: the request goes nowhere.
        QLocalServer mute;
        QVERIFY(mute.listen(SingleInstance::socketPathFor(QStringLiteral("mute"))));
        SingleInstance later(QStringLiteral("mute"));
        QCOMPARE(later.claim({{QStringLiteral("/a.jpg")}, {}}, 300), SingleInstance::Claim::failed);
    }
};

VELORA_TEST(TestSingleInstance)
#include "test_single_instance.moc"
