#pragma once
// The editor of the selected piece, in the column at the window's right. It holds no copy of the
// piece: every control shows what the Studio stores and writes each change through the undo steps,
// so the desktop follows at once and the library is saved as after any change. A slider drag or a
// run of typing is one step. Changes made elsewhere (undo, the desktop, the styles page) come back
// to the controls without writing anything.
#include "records.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <functional>
#include <memory>

class QAbstractButton;
class QButtonGroup;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;
class QSlider;
class QStackedWidget;
class QToolButton;

namespace velora {

struct AppContext;
class LibraryPicker;
class PhotoList;
class Thumbnails;

// A status shown as a capsule with its symbol.
class Pill : public QWidget {
    Q_OBJECT
public:
    explicit Pill(QWidget* parent = nullptr);
    void set(const QIcon& icon, const QString& text);
    QString text() const { return m_text; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QIcon m_icon;
    QString m_text;
};

class PieceEditor : public QWidget {
    Q_OBJECT
public:
    PieceEditor(AppContext& app, QWidget* parent = nullptr);
    ~PieceEditor() override;

    void setPiece(const QUuid& id);
    QUuid pieceID() const { return m_id; }

    // The controls, by what they edit (tests and snapshots).
    QLineEdit* nameField() const { return m_name; }
    Pill* visibilityPill() const { return m_visiblePill; }
    Pill* lockPill() const { return m_lockPill; }
    QLabel* helpLine() const { return m_help; }
    PhotoList* photoList() const { return m_photos; }
    QLabel* photosNote() const { return m_photosNote; }
    QToolButton* addButton() const { return m_add; }
    QAbstractButton* layoutTile(CollageLayout layout) const;
    QAbstractButton* frameTile(FrameStyle style) const;
    QAbstractButton* acrossButton() const { return m_across; }
    QAbstractButton* downButton() const { return m_down; }
    QLabel* layoutNote() const { return m_layoutNote; }
    QLabel* frameNote() const { return m_frameNote; }
    QSlider* widthSlider() const { return m_width; }
    QLabel* widthReadout() const { return m_widthText; }
    QSlider* tiltSlider() const { return m_tilt; }
    QLabel* tiltReadout() const { return m_tiltText; }
    QLabel* sizeNote() const { return m_sizeNote; }
    QAbstractButton* randomTiltButton() const { return m_random; }
    QAbstractButton* straightenButton() const { return m_straighten; }
    QAbstractButton* shuffleButton() const { return m_shuffle; }
    QLineEdit* captionField() const { return m_caption; }
    QComboBox* intervalPicker() const { return m_interval; }
    QLabel* slideshowNote() const { return m_slideshowNote; }
    QAbstractButton* nextPhotoButton() const { return m_next; }
    QComboBox* displayPicker() const { return m_display; }
    QAbstractButton* duplicateButton() const { return m_duplicate; }
    QAbstractButton* deleteButton() const { return m_delete; }
    LibraryPicker* libraryPicker() const;
    Thumbnails& thumbnails() const { return *m_thumbnails; }

    // "From Library…" and "From Files…" of the add menu.
    void openLibraryPicker();
    void addFromFiles();

    // Every control from the stored piece; writes nothing.
    void refresh();

private:
    void build();
    void refreshPhotos(const Piece& piece);
    void refreshDisplays(const Piece& piece);
    void refreshTabOrder();
    // One edit of the piece as one undo step (merged by key until closed).
    void edit(const QString& text, const std::function<void(Piece&)>& change, int mergeKey = 0);
    QWidget* section(const QString& title, QWidget* parent, QWidget* trailing = nullptr);

    AppContext& m_app;
    QUuid m_id;
    std::unique_ptr<Thumbnails> m_thumbnails;
    QPointer<LibraryPicker> m_picker;

    QLineEdit* m_name;
    Pill* m_visiblePill;
    Pill* m_lockPill;
    QLabel* m_help;
    QToolButton* m_add;
    PhotoList* m_photos;
    QLabel* m_photosNote;
    QButtonGroup* m_layouts;
    QWidget* m_direction;
    QAbstractButton* m_across;
    QAbstractButton* m_down;
    QLabel* m_layoutNote;
    QButtonGroup* m_frames;
    QLabel* m_frameNote;
    QSlider* m_width;
    QLabel* m_widthText;
    QSlider* m_tilt;
    QLabel* m_tiltText;
    QLabel* m_sizeNote;
    QAbstractButton* m_random;
    QAbstractButton* m_straighten;
    QAbstractButton* m_shuffle;
    QLineEdit* m_caption;
    QComboBox* m_interval;
    QLabel* m_slideshowNote;
    QAbstractButton* m_next;
    QComboBox* m_display;
    QAbstractButton* m_duplicate;
    QAbstractButton* m_delete;
};

class Inspector : public QWidget {
    Q_OBJECT
public:
    static constexpr int width = 340;
    explicit Inspector(AppContext& app, QWidget* parent = nullptr);

    // The editor while a piece that exists is selected, else the empty state.
    bool showsEditor() const;
    PieceEditor* editor() const { return m_editor; }
    QScrollArea* scrollArea() const { return m_scroll; }

private:
    void follow();

    AppContext& m_app;
    QStackedWidget* m_stack;
    QWidget* m_empty;
    QScrollArea* m_scroll;
    PieceEditor* m_editor;
};

// The inspector's empty state: shown while no piece is selected (or the selected one is gone).
QWidget* makeInspectorEmptyState(QWidget* parent);

} // namespace velora
