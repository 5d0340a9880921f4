// The single-instance socket: what a later launch sends, a socket left by a crash, and a running
// copy that does not answer.
#include "testing.h"

#include "single_instance.h"

#include <QLocalServer>
#include <QTemporaryDir>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

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

    void aSocketLeftByACrashIsTakenOver()
    {
        SingleInstance first(QStringLiteral("crashed"));
        // What a killed copy leaves: the socket file, with nobody listening.
        const QByteArray path = QFile::encodeName(first.socketPath());
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        QCOMPARE(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ::close(fd);
        QVERIFY(QFile::exists(first.socketPath()));
        QCOMPARE(first.claim({}, 2000), SingleInstance::Claim::primary);
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
