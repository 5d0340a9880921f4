#pragma once
// The photos of the piece in the editor: one row each with its thumbnail, its caption field (the
// library record's) and a remove button. Rows reorder by dragging their thumbnail, or from the
// keyboard with Alt+Up and Alt+Down; the list only asks, the editor writes.
#include "records.h"

#include <QList>
#include <QUuid>
#include <QWidget>

class QLineEdit;
class QToolButton;

namespace velora {

struct AppContext;
class PhotoList;
class Thumbnails;

// The grip and thumbnail at the start of a row: where a drag starts, and the row's keyboard stop.
class PhotoHandle : public QWidget {
    Q_OBJECT
public:
    PhotoHandle(PhotoList& list, Thumbnails& thumbnails, QWidget* parent);
    void setPhoto(const Photo& photo);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    PhotoList& m_list;
    Thumbnails& m_thumbnails;
    Photo m_photo;
};

class PhotoRow : public QWidget {
    Q_OBJECT
public:
    static constexpr int rowHeight = 48;
    PhotoRow(AppContext& app, PhotoList& list, Thumbnails& thumbnails, const Photo& photo, QWidget* parent);

    QUuid photoID() const { return m_photo.id; }
    // Takes the record's caption unless the field already says it (typing goes on undisturbed).
    void setPhoto(const Photo& photo);
    PhotoHandle* handle() const { return m_handle; }
    QLineEdit* captionField() const { return m_caption; }
    QToolButton* removeButton() const { return m_remove; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    AppContext& m_app;
    PhotoList& m_list;
    Photo m_photo;
    PhotoHandle* m_handle;
    QLineEdit* m_caption;
    QToolButton* m_remove;
};

class PhotoList : public QWidget {
    Q_OBJECT
public:
    static constexpr int spacing = 6;
    PhotoList(AppContext& app, Thumbnails& thumbnails, QWidget* parent = nullptr);

    // The rows for these photos, in this order; rows of photos still listed are kept (with their
    // focus and typing), others are made or dropped. True when the rows or their order changed.
    bool setPhotos(const QList<Photo>& photos);
    const QList<PhotoRow*>& rows() const { return m_rows; }
    int rowOf(const QWidget* inside) const;
    bool dragging() const { return m_dragRow && m_dragging; }

    // A drag from a row's handle, in this widget's coordinates.
    void beginDrag(PhotoRow* row, int y);
    void dragTo(int y);
    void endDrag();
    // Alt+Up / Alt+Down on a row.
    void step(PhotoRow* row, int delta);

signals:
    void moveRequested(int from, int to);
    void removeRequested(const QUuid& photoID);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void layoutRows();
    int pitch() const { return PhotoRow::rowHeight + spacing; }
    int targetFor(int top) const;

    AppContext& m_app;
    Thumbnails& m_thumbnails;
    QList<PhotoRow*> m_rows;
    PhotoRow* m_dragRow = nullptr;
    int m_dragStart = 0;
    int m_dragTop = 0;
    bool m_dragging = false;
};

} // namespace velora
