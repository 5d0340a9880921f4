// The update checker against a real HTTP server on 127.0.0.1: each feed and failure with the
// alerts a user check and the silent launch check give, the version order, the feed's decoding.
#include "feed_server.h"
#include "testing.h"
#include "update_checker.h"

#include <QSignalSpy>
#include <QUrl>

using namespace velora;
using namespace velora::testing;

namespace {

const QString running = QStringLiteral("1.2");

Alert unavailable() { return {QStringLiteral("Updates aren’t available for this build"), {}, {}}; }
Alert noConnection() { return {QStringLiteral("Couldn’t check for updates"), QStringLiteral("Check your connection and try again."), {}}; }
Alert upToDate() { return {QStringLiteral("You’re up to date"), QStringLiteral("Velora 1.2 is the newest version."), {}}; }
Alert available(const QString& version, const QString& informative)
{
    return {QStringLiteral("Velora %1 is available").arg(version), informative, {QStringLiteral("Download"), QStringLiteral("Later")}};
}

QByteArray feed(const char* version, const QByteArray& rest = ", \"url\": \"https://velora.example/download\"")
{
    return QByteArray("{\"version\": \"") + version + '"' + rest + "}";
}

} // namespace

Q_DECLARE_METATYPE(velora::Alert)

class TestUpdates : public QObject {
    Q_OBJECT
private:
    FeedServer m_server;

    // One check to its end; the alerts it showed.
    RecordedAlerts check(const QString& feedAddress, bool userInitiated, int answer = 0, UpdateChecker::Limits limits = {})
    {
        RecordedAlerts r;
        r.answer = answer;
        UpdateChecker checker(feedAddress, running, std::make_unique<RecordingAlerts>(r));
        checker.setLimits(limits);
        QSignalSpy finished(&checker, &UpdateChecker::finished);
        checker.check(userInitiated);
        if (finished.isEmpty()) finished.wait(20000);
        [&] { QCOMPARE(finished.size(), 1); }();
        return r;
    }

private slots:
    void initTestCase() { QVERIFY(m_server.listening()); }

    // Each row serves its response at its own path.
    void feeds_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QList<Alert>>("asked");  // a check the user asked for
        QTest::addColumn<QList<Alert>>("silent"); // the launch check
        const auto row = [this](const char* name, const QByteArray& path, const FeedServer::Response& response,
                                const QList<Alert>& asked, bool silentToo) {
            m_server.route(path, response);
            QTest::newRow(name) << QString::fromLatin1(path) << asked << (silentToo ? asked : QList<Alert>{});
        };
        const QByteArray site = ", \"url\": \"https://velora.example/\"";
        const Alert newer = available("1.10", "Sharper frames.");
        const QList<Alert> failed{noConnection()};
        row("newer", "/newer", {200, feed("1.10", ", \"url\": \"https://velora.example/download\", \"notes\": \"Sharper frames.\"")},
            {newer}, true);
        row("empty notes are shown as they are", "/empty-notes", {200, feed("2.0", site + ", \"notes\": \"\"")},
            {available("2.0", "")}, true);
        row("null notes", "/null-notes", {200, feed("1.3", site + ", \"notes\": null")}, {available("1.3", "You have 1.2.")}, true);
        row("no notes", "/no-notes", {200, feed("1.2.1")}, {available("1.2.1", "You have 1.2.")}, true);
        row("equal", "/equal", {200, feed("1.2", site + ", \"notes\": \"Same.\"")}, {upToDate()}, false);
        row("older", "/older", {200, feed("1.1.9")}, {upToDate()}, false);
        row("no url", "/no-url", {200, "{\"version\": \"9.0\", \"notes\": \"No address.\"}"}, failed, false);
        row("notes not text", "/number-notes", {200, feed("9.0", site + ", \"notes\": 3")}, failed, false);
        row("version not text", "/version-number", {200, "{\"version\": 9" + site + "}"}, failed, false);
        row("not an object", "/array", {200, "[" + feed("9.0") + "]"}, failed, false);
        row("garbage", "/garbage", {200, "\x89PNG\r\n\x1a\n not a feed at all"}, failed, false);
        QTest::newRow("404 page") << "/missing" << failed << QList<Alert>{};
        row("404 status with a feed body: the body decides", "/not-found-json", {404, feed("1.10")},
            {available("1.10", "You have 1.2.")}, true);
        row("100 MB announced", "/huge", {200, {}, {}, 100ll << 20}, failed, false);
        row("100 MB unannounced", "/huge-unannounced", {200, {}, {}, 100ll << 20, false}, failed, false);
        const QByteArray notes((1 << 20) - 80, 'n');
        row("a body just under 1 MiB", "/just-under", {200, feed("1.10", site + ", \"notes\": \"" + notes + "\"")},
            {available("1.10", QString::fromLatin1(notes))}, true);
        row("server never answers", "/silent", {.silent = true}, failed, false);
        row("redirect loop", "/loop", {302, {}, "/loop"}, failed, false);
        for (int n = 1; n <= 4; ++n)
            m_server.route("/hop" + QByteArray::number(n), {302, {}, n == 1 ? "/newer" : "/hop" + QByteArray::number(n - 1)});
        QTest::newRow("three redirects") << "/hop3" << QList{newer} << QList{newer};
        QTest::newRow("four redirects") << "/hop4" << failed << QList<Alert>{};
    }

    void feeds()
    {
        QFETCH(QString, path);
        QFETCH(QList<Alert>, asked);
        QFETCH(QList<Alert>, silent);
        // Short enough for a test; the application waits 15 s.
        const UpdateChecker::Limits limits{.timeoutMs = 1500};
        const qint64 streamedBefore = m_server.streamedBytes();
        const RecordedAlerts user = check(m_server.url(path), true, 1, limits);
        const RecordedAlerts launch = check(m_server.url(path), false, 1, limits);
        QCOMPARE(user.alerts, asked);
        QCOMPARE(launch.alerts, silent);
        QVERIFY(user.opened.isEmpty() && launch.opened.isEmpty()); // "Later" opens nothing
        if (path.startsWith(u"/huge"))
            QVERIFY2(m_server.streamedBytes() - streamedBefore < (100ll << 20),
                     "the checker stopped reading long before the end of a 100 MB body");
    }

    void unreachable_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QList<Alert>>("asked");
        QTest::newRow("no feed in this build") << QString() << QList{unavailable()};
        QTest::newRow("not an address") << "velora feed" << QList{unavailable()};
        QTest::newRow("no web address") << "file:///etc/hostname" << QList{unavailable()};
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const quint16 port = closed.serverPort();
        closed.close();
        QTest::newRow("closed port") << QStringLiteral("http://127.0.0.1:%1/feed").arg(port) << QList{noConnection()};
    }

    void unreachable()
    {
        QFETCH(QString, address);
        QFETCH(QList<Alert>, asked);
        QCOMPARE(check(address, true).alerts, asked);
        QCOMPARE(check(address, false).alerts, QList<Alert>{});
    }

    void downloadOpensOnlyWebPages_data()
    {
        QTest::addColumn<QByteArray>("url");
        QTest::addColumn<QList<QUrl>>("opened");
        QTest::newRow("https") << QByteArray("https://velora.example/download?v=2") << QList{QUrl("https://velora.example/download?v=2")};
        QTest::newRow("http") << QByteArray("http://velora.example/") << QList{QUrl("http://velora.example/")};
        QTest::newRow("file") << QByteArray("file:///etc/passwd") << QList<QUrl>{};
        QTest::newRow("script") << QByteArray("javascript:alert(1)") << QList<QUrl>{};
        QTest::newRow("no address") << QByteArray("see the website") << QList<QUrl>{};
        QTest::newRow("empty") << QByteArray() << QList<QUrl>{};
    }

    void downloadOpensOnlyWebPages()
    {
        QFETCH(QByteArray, url);
        QFETCH(QList<QUrl>, opened);
        const QByteArray path = "/download-" + QByteArray::number(qHash(url));
        m_server.route(path, {200, "{\"version\": \"3.0\", \"url\": \"" + url + "\"}"});
        const RecordedAlerts r = check(m_server.url(QString::fromLatin1(path)), false, 0);
        QCOMPARE(r.alerts.size(), 1);
        QCOMPARE(r.opened, opened);
    }

    void versionOrder_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order");
        QTest::newRow("1.10 after 1.9") << "1.10" << "1.9" << 1;
        QTest::newRow("equal") << "1.2" << "1.2" << 0;
        QTest::newRow("the longer one is newer") << "1.0.1" << "1.0" << 1;
        QTest::newRow("10 after 2") << "10" << "2" << 1;
        QTest::newRow("leading zeros count by value") << "1.01" << "1.1" << 0;
        QTest::newRow("runs longer than any integer") << "1.123456789012345678901234567890" << "1.123456789012345678901234567889" << 1;
        QTest::newRow("letters by code") << "1.0b" << "1.0a" << 1;
        QTest::newRow("a letter after a dot") << "1.0a" << "1.0.1" << 1;
        QTest::newRow("upper case before lower case") << "1.0B" << "1.0a" << -1;
        QTest::newRow("empty before anything") << "" << "0" << -1;
        QTest::newRow("digits before letters") << "1.0.9" << "1.0.x" << -1;
    }

    void versionOrder()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);
        QCOMPARE(UpdateChecker::compareVersions(a, b), order);
        QCOMPARE(UpdateChecker::compareVersions(b, a), -order);
    }
};

VELORA_TEST(TestUpdates)
#include "test_updates.moc"
