#include "update_alerts.h"

#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

namespace velora {

int DialogAlerts::run(const Alert& alert)
{
    QMessageBox box;
    box.setIcon(QMessageBox::Information);
    box.setWindowTitle(QStringLiteral("Velora"));
    box.setText(alert.message);
    box.setInformativeText(alert.informative);
    QList<QAbstractButton*> buttons;
    for (qsizetype i = 0; i < alert.buttons.size(); ++i) {
        // The first is the default; the last of several also answers Escape.
        QPushButton* b = box.addButton(alert.buttons[i], i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
        if (i == 0) box.setDefaultButton(b);
        buttons.append(b);
    }
    if (buttons.isEmpty()) box.setStandardButtons(QMessageBox::Ok);
    else if (buttons.size() > 1) box.setEscapeButton(buttons.last());
    // Checks may finish while the user works elsewhere: the alert comes forward.
    box.setWindowModality(Qt::ApplicationModal);
    box.exec();
    if (buttons.isEmpty()) return 0;
    // Closed some other way: the last, cancelling button.
    const auto chosen = buttons.indexOf(box.clickedButton());
    return int(chosen < 0 ? buttons.size() - 1 : chosen);
}

void DialogAlerts::openPage(const QUrl& url) { QDesktopServices::openUrl(url); }

} // namespace velora
