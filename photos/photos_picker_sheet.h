#pragma once
// The sheet that brings photos in from photo libraries: albums on the left, the album's photos as a
// grid of square thumbnails to tick, and the import of the ticked ones. Each showing owns a fresh
// PhotosBridge. Fully usable from the keyboard: Tab between albums and photos, arrows to move,
// Space to tick, Return to import, Escape to cancel.
#include <QDialog>
#include <QPointer>

class QLabel;
class QListView;
class QPushButton;
class QStackedWidget;

namespace velora {

class AlbumListModel;
class AssetGridModel;
class PhotoGridView;
class PhotosBridge;
class Studio;

class PhotosPickerSheet : public QDialog {
    Q_OBJECT
public:
    static constexpr int sheetWidth = 760;
    static constexpr int sheetHeight = 520;
    static constexpr int albumListWidth = 210;
    static constexpr int cellSide = 104;
    static constexpr int cellGap = 8;

    // Takes ownership of the bridge.
    PhotosPickerSheet(Studio& studio, PhotosBridge* bridge, QWidget* parent = nullptr);
    ~PhotosPickerSheet() override;

    // Shows the sheet window-modal over `parent` and sets the studio's picker flag; dismissing it
    // clears the flag and deletes the sheet. While one is open, raises that one instead (a bridge
    // passed then is deleted). Without a bridge, one over this machine's photo libraries is made.
    static PhotosPickerSheet* present(QWidget* parent, Studio& studio, PhotosBridge* bridge = nullptr);
    // The sheet on screen, if any.
    static PhotosPickerSheet* current();

    PhotosBridge* bridge() const { return m_bridge; }
    // What the import button says: "Import", "Import N" or "Importing…".
    QString importLabel() const;

    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void buildHeader();
    void buildBody();
    void refreshBody();
    void showBodyForStatus();
    void refreshHeader();
    void syncAlbumSelection();
    void runImport();
    void addPhotoFilesInstead();
    void openPrivacySettings();

    QPointer<Studio> m_studio;
    PhotosBridge* m_bridge;
    bool m_shownOnce = false;

    QPushButton* m_cancel = nullptr;
    QPushButton* m_import = nullptr;
    QStackedWidget* m_body = nullptr;
    QWidget* m_browser = nullptr;
    QWidget* m_permission = nullptr;
    QLabel* m_permissionTitle = nullptr;
    QLabel* m_permissionMessage = nullptr;
    QPushButton* m_permissionButton = nullptr;
    QListView* m_albums = nullptr;
    AlbumListModel* m_albumModel = nullptr;
    QStackedWidget* m_gridArea = nullptr;
    PhotoGridView* m_grid = nullptr;
    AssetGridModel* m_gridModel = nullptr;
    QLabel* m_emptyNote = nullptr;
    enum class PermissionAction { request, settings, addFiles } m_permissionAction = PermissionAction::addFiles;
};

} // namespace velora
