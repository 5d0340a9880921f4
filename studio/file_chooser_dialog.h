#pragma once
// The open panel for photos: several files and folders at once, images and folders only.
#include <QFileDialog>
#include <QStringList>

namespace velora {

// Qt's own (non-native) file dialog: native dialogs can't return files and folders from one
// selection. Selecting folders and pressing "Add" takes them as chosen instead of opening them;
// double-clicking a folder still opens it.
class FileChooserDialog : public QFileDialog {
    Q_OBJECT
public:
    explicit FileChooserDialog(QWidget* parent = nullptr);

    // What the user picked, once accepted.
    QStringList chosen() const { return m_chosen; }

    void accept() override;

private:
    QStringList selectedInView() const;
    void keepAddLabel();

    QStringList m_chosen;
};

// Brings the application to the front, runs the dialog modally and returns the chosen paths, or
// an empty list when cancelled. Installed as the Studio's file chooser by the user interface.
QStringList chooseFilesWithDialog(QWidget* parent = nullptr);

} // namespace velora
