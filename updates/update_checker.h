#pragma once
// Asks the build's update feed whether a newer Velora exists and says so in alerts. A silent check
// (at launch) speaks only of a newer version; a check the user asked for always answers. The feed
// is outside input: its transfer is bounded in time, size and redirects.
#include "update_alerts.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QStringView>

#include <memory>
#include <optional>

namespace velora {

// What the feed says: one JSON object with "version", "url" and optional "notes".
struct Release {
    QString version;
    QString url;
    std::optional<QString> notes;
    friend bool operator==(const Release&, const Release&) = default;
};

class UpdateChecker : public QObject {
    Q_OBJECT
public:
    struct Limits {
        int timeoutMs = 15000;      // the longest a check waits for the feed
        qint64 maxBody = 1 << 20;   // a larger body is not read
        int maxRedirects = 3;
    };

    // Over the feed this build names and the running version, with message boxes.
    explicit UpdateChecker(QObject* parent = nullptr);
    UpdateChecker(QString feedAddress, QString currentVersion, std::unique_ptr<UpdateAlerts> alerts,
                  QObject* parent = nullptr);
    ~UpdateChecker() override;

    // The feed address this build was made with; empty when it has none.
    static QString buildFeedAddress();
    // The application's version, or "1.0" when it has none.
    static QString runningVersion();

    QString currentVersion() const { return m_current; }
    void setLimits(const Limits& limits) { m_limits = limits; }
    void setAlerts(std::unique_ptr<UpdateAlerts> alerts);

    // Starts a check and returns at once; finished() follows once its alerts are done.
    void check(bool userInitiated);

    // Nothing unless the bytes are a JSON object with string "version" and "url" and, if present
    // and not null, string "notes".
    static std::optional<Release> decode(const QByteArray& body);
    // Numeric string order: from the left, runs of ASCII digits compare by value (1.10 after 1.9),
    // any other character by its UTF-16 code, and a string that ends first, the rest being equal,
    // comes first (1.0 before 1.0.1). Negative, zero or positive like strcmp.
    static int compareVersions(QStringView a, QStringView b);

signals:
    void finished();

private:
    void report(const std::optional<Release>& release, bool userInitiated);

    QString m_feed;
    QString m_current;
    std::unique_ptr<UpdateAlerts> m_alerts;
    Limits m_limits;
    QNetworkAccessManager m_network;
};

} // namespace velora
