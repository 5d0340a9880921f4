#pragma once
// The library and styles pages.
#include <QWidget>

namespace velora {

struct AppContext;

class LibraryPage : public QWidget {
    Q_OBJECT
public:
    explicit LibraryPage(AppContext& app, QWidget* parent = nullptr);

private:
    AppContext& m_app;
};

} // namespace velora
