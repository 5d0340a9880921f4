#include "update_checker.h"

#include "update_feed.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

#include <memory>

namespace velora {

namespace {

bool isDigit(QChar c) { return c >= u'0' && c <= u'9'; }

// A web address with a host; anything else means "no feed" or "no page".
std::optional<QUrl> webAddress(const QString& text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != u"http" && scheme != u"https") || url.host().isEmpty()) return std::nullopt;
    return url;
}

// Errors of the transfer itself. Errors that only repeat the HTTP status (404, 500 …) are not:
// the body decides, like any other.
bool transferFailed(QNetworkReply::NetworkError error)
{
    const int code = int(error);
    const bool statusOnly = (code >= 201 && code < 300) || (code >= 401 && code < 500);
    return error != QNetworkReply::NoError && !statusOnly;
}

} // namespace

UpdateChecker::UpdateChecker(QObject* parent)
    : UpdateChecker(buildFeedAddress(), runningVersion(), std::make_unique<DialogAlerts>(), parent)
{
}

UpdateChecker::UpdateChecker(QString feedAddress, QString currentVersion, std::unique_ptr<UpdateAlerts> alerts,
                             QObject* parent)
    : QObject(parent)
    , m_feed(std::move(feedAddress))
    , m_current(std::move(currentVersion))
    , m_alerts(alerts ? std::move(alerts) : std::make_unique<DialogAlerts>())
{
}

UpdateChecker::~UpdateChecker() = default;

QString UpdateChecker::buildFeedAddress() { return QString::fromUtf8(VELORA_UPDATE_FEED_URL); }

QString UpdateChecker::runningVersion()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? QStringLiteral("1.0") : version;
}

void UpdateChecker::setAlerts(std::unique_ptr<UpdateAlerts> alerts)
{
    if (alerts) m_alerts = std::move(alerts);
}

void UpdateChecker::check(bool userInitiated)
{
    const auto feed = webAddress(m_feed);
    if (!feed) {
        if (userInitiated) m_alerts->run({tr("Updates aren’t available for this build"), {}, {}});
        emit finished();
        return;
    }

    QNetworkRequest request(*feed);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(m_limits.maxRedirects);
    request.setTransferTimeout(m_limits.timeoutMs);
    QNetworkReply* reply = m_network.get(request);
    // A server that trickles bytes never trips the transfer timeout: the whole check has a deadline too.
    QTimer::singleShot(m_limits.timeoutMs, reply, [reply] { reply->abort(); });

    struct Transfer {
        QByteArray body;
        bool tooLarge = false;
        bool done = false;
    };
    auto transfer = std::make_shared<Transfer>();
    const qint64 cap = m_limits.maxBody;
    const auto refuse = [reply, transfer] {
        transfer->tooLarge = true;
        transfer->body.clear();
        reply->abort();
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, [reply, transfer, cap, refuse] {
        // A body announced too large is not waited for.
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (!transfer->tooLarge && length.isValid() && length.toLongLong() > cap) refuse();
    });
    connect(reply, &QNetworkReply::readyRead, this, [reply, transfer, cap, refuse] {
        if (transfer->tooLarge) return;
        transfer->body += reply->read(cap + 1 - transfer->body.size());
        if (transfer->body.size() > cap) refuse();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, transfer, cap, userInitiated] {
        if (transfer->done) return;
        transfer->done = true;
        reply->deleteLater();
        if (!transfer->tooLarge && reply->isOpen()) {
            transfer->body += reply->read(cap + 1 - transfer->body.size());
            transfer->tooLarge = transfer->body.size() > cap;
        }
        const bool failed = transfer->tooLarge || transferFailed(reply->error());
        report(failed ? std::nullopt : decode(transfer->body), userInitiated);
    });
}

void UpdateChecker::report(const std::optional<Release>& release, bool userInitiated)
{
    if (!release) {
        if (userInitiated) m_alerts->run({tr("Couldn’t check for updates"), tr("Check your connection and try again."), {}});
    } else if (compareVersions(release->version, m_current) > 0) {
        const QString informative = release->notes ? *release->notes : tr("You have %1.").arg(m_current);
        const int chosen = m_alerts->run({tr("Velora %1 is available").arg(release->version), informative,
                                          {tr("Download"), tr("Later")}});
        if (chosen == 0)
            if (const auto page = webAddress(release->url)) m_alerts->openPage(*page);
    } else if (userInitiated) {
        m_alerts->run({tr("You’re up to date"), tr("Velora %1 is the newest version.").arg(m_current), {}});
    }
    emit finished();
}

std::optional<Release> UpdateChecker::decode(const QByteArray& body)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) return std::nullopt;
    const QJsonObject o = doc.object();
    const QJsonValue version = o.value(u"version"), url = o.value(u"url"), notes = o.value(u"notes");
    if (!version.isString() || !url.isString()) return std::nullopt;
    Release r{version.toString(), url.toString(), std::nullopt};
    if (notes.isString()) r.notes = notes.toString();
    else if (!notes.isUndefined() && !notes.isNull()) return std::nullopt;
    return r;
}

int UpdateChecker::compareVersions(QStringView a, QStringView b)
{
    qsizetype i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            // Whole runs by value: without leading zeros, the longer is larger, else the first
            // differing digit decides. Any length works.
            qsizetype ie = i, je = j;
            while (ie < a.size() && isDigit(a[ie])) ++ie;
            while (je < b.size() && isDigit(b[je])) ++je;
            while (i < ie - 1 && a[i] == u'0') ++i;
            while (j < je - 1 && b[j] == u'0') ++j;
            if (ie - i != je - j) return ie - i < je - j ? -1 : 1;
            if (const int c = a.sliced(i, ie - i).compare(b.sliced(j, je - j)); c != 0) return c < 0 ? -1 : 1;
            i = ie;
            j = je;
            continue;
        }
        if (a[i] != b[j]) return a[i].unicode() < b[j].unicode() ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

} // namespace velora
