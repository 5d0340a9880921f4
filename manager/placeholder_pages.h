#pragma once
// The styles page.
#include <QWidget>

namespace velora {

struct AppContext;

class StylesPage : public QWidget {
    Q_OBJECT
public:
    explicit StylesPage(AppContext& app, QWidget* parent = nullptr);

private:
    AppContext& m_app;
};

} // namespace velora
