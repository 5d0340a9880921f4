#pragma once
// The manager's sidebar: the three pages, then "On your desktop" with one row per piece (a dot
// that says whether it shows, its name, a lock when locked). Choosing a page sets the Studio's
// page; clicking a piece selects it.
#include <QWidget>

class QListView;
class QLabel;
class QStandardItemModel;

namespace velora {

struct AppContext;

class Sidebar : public QWidget {
    Q_OBJECT
public:
    static constexpr int minimumWidth = 210;
    static constexpr int idealWidth = 228;
    static constexpr int maximumWidth = 280;

    explicit Sidebar(AppContext& app, QWidget* parent = nullptr);

    QListView* pageList() const { return m_pages; }
    QListView* pieceList() const { return m_pieceList; }
    QSize sizeHint() const override;

private:
    void followPage();

    AppContext& m_app;
    QStandardItemModel* m_pageModel;
    QListView* m_pages;
    QLabel* m_header;
    QListView* m_pieceList;
};

} // namespace velora
