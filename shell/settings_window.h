#pragma once
// The settings window: how Velora starts and behaves (General) and what it is (About). Every value
// lives in the one Settings object or the Studio, so the window only shows and sets them; the
// login item is asked afresh each time the window is shown.
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QTabWidget;

namespace velora {

struct AppContext;

class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr QSize fixedSize{500, 420};
    enum class Tab { general, about };

    explicit SettingsWindow(AppContext& app, QWidget* parent = nullptr);

    // Brings the window forward on a tab.
    void present(Tab tab);

    QTabWidget* tabs() const { return m_tabs; }
    QCheckBox* loginToggle() const { return m_login; }
    QLabel* loginError() const { return m_loginError; }
    QCheckBox* openAtLaunchToggle() const { return m_openAtLaunch; }
    QCheckBox* trayToggle() const { return m_tray; }
    QCheckBox* snapToggle() const { return m_snap; }
    QComboBox* framePicker() const { return m_frame; }
    QLabel* libraryCount() const { return m_count; }
    QPushButton* revealButton() const { return m_reveal; }
    QPushButton* updateButton() const { return m_update; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makeGeneral();
    QWidget* makeAbout();
    void readLoginItem();
    void changeLoginItem(bool on);
    void refreshSettings();
    void refreshCount();

    AppContext& m_app;
    QTabWidget* m_tabs;
    QCheckBox* m_login = nullptr;
    QLabel* m_loginError = nullptr;
    QCheckBox* m_openAtLaunch = nullptr;
    QCheckBox* m_tray = nullptr;
    QCheckBox* m_snap = nullptr;
    QComboBox* m_frame = nullptr;
    QLabel* m_count = nullptr;
    QPushButton* m_reveal = nullptr;
    QPushButton* m_update = nullptr;
    bool m_placed = false;
};

} // namespace velora
