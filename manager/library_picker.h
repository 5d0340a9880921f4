#pragma once
// The sheet that adds library photos to a piece: every photo of the library as a thumbnail, those
// already in the piece ticked. "Add" (or a double click, or Enter) adds the chosen ones in one step.
#include <QDialog>
#include <QUuid>

class QLabel;
class QListView;
class QPushButton;
class QStackedWidget;

namespace velora {

struct AppContext;
class Thumbnails;

class LibraryPicker : public QDialog {
    Q_OBJECT
public:
    LibraryPicker(AppContext& app, Thumbnails& thumbnails, const QUuid& pieceID, QWidget* parent = nullptr);

    QUuid pieceID() const { return m_pieceID; }
    QListView* view() const { return m_view; }
    QPushButton* addButton() const { return m_add; }
    bool showsEmptyText() const;
    // Photos chosen that the piece does not hold yet, in library order.
    QList<QUuid> chosen() const;
    void addChosen();

private:
    void refresh();

    AppContext& m_app;
    QUuid m_pieceID;
    QStackedWidget* m_body;
    QListView* m_view;
    QLabel* m_empty;
    QPushButton* m_add;
};

} // namespace velora
