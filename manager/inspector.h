#pragma once
// The editor of the selected piece, in the column at the window's right.
#include <QWidget>

namespace velora {

struct AppContext;

class Inspector : public QWidget {
    Q_OBJECT
public:
    static constexpr int width = 340;
    explicit Inspector(AppContext& app, QWidget* parent = nullptr);

private:
    AppContext& m_app;
};

// The inspector's empty state: shown while no piece is selected (or the selected one is gone).
QWidget* makeInspectorEmptyState(QWidget* parent);

} // namespace velora
