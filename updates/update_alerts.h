#pragma once
// How the update checker speaks to the user: modal alerts, and the browser for "Download".
// Tests install their own and answer for the user.
#include <QString>
#include <QStringList>

class QUrl;

namespace velora {

struct Alert {
    QString message;
    QString informative;  // empty: none
    QStringList buttons;  // the first is the default; empty: the single OK button
    friend bool operator==(const Alert&, const Alert&) = default;
};

class UpdateAlerts {
public:
    virtual ~UpdateAlerts() = default;
    // Runs the alert to its end; the index of the chosen button (0 for the lone OK).
    virtual int run(const Alert& alert) = 0;
    // Shows a web page in the default browser.
    virtual void openPage(const QUrl& url) = 0;
};

// Message boxes and the desktop's browser.
class DialogAlerts final : public UpdateAlerts {
public:
    int run(const Alert& alert) override;
    void openPage(const QUrl& url) override;
};

} // namespace velora
