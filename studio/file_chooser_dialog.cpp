#include "file_chooser_dialog.h"

#include "image_store.h"

#include <QAbstractItemView>
#include <QAbstractProxyModel>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileSystemModel>
#include <QItemSelectionModel>
#include <QListView>
#include <QPushButton>
#include <QTimer>
#include <QTreeView>

namespace velora {

namespace {

// "jpg" -> "*.[jJ][pP][gG]": Qt's filters are case-sensitive on most file systems.
QString anyCasePattern(const QString& extension)
{
    QString pattern = QStringLiteral("*.");
    for (const QChar c : extension) {
        if (c.isLetter())
            pattern += QLatin1Char('[') + c.toLower() + c.toUpper() + QLatin1Char(']');
        else
            pattern += c;
    }
    return pattern;
}

} // namespace

FileChooserDialog::FileChooserDialog(QWidget* parent)
    : QFileDialog(parent)
{
    setOption(QFileDialog::DontUseNativeDialog, true);
    setFileMode(QFileDialog::ExistingFiles);
    setAcceptMode(QFileDialog::AcceptOpen);
    setWindowTitle(QStringLiteral("Choose photos, or a folder of photos."));
    setLabelText(QFileDialog::Accept, QStringLiteral("Add"));
    QStringList patterns;
    for (const QString& type : ImageStore::imageTypes()) patterns.append(anyCasePattern(type));
    // Folders are always listed; among files only images.
    setNameFilter(QStringLiteral("Images (%1)").arg(patterns.join(QLatin1Char(' '))));

    for (QAbstractItemView* view : findChildren<QAbstractItemView*>()) {
        if (!qobject_cast<QListView*>(view) && !qobject_cast<QTreeView*>(view)) continue;
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        if (view->selectionModel())
            connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { keepAddLabel(); });
    }
    connect(this, &QFileDialog::currentChanged, this, [this] { keepAddLabel(); });
    connect(this, &QFileDialog::directoryEntered, this, [this] { keepAddLabel(); });
}

void FileChooserDialog::keepAddLabel()
{
    // The dialog relabels its button "Open" while a folder is selected; here a folder is added.
    QTimer::singleShot(0, this, [this] {
        if (auto* box = findChild<QDialogButtonBox*>())
            if (QPushButton* button = box->button(QDialogButtonBox::Open)) button->setText(QStringLiteral("Add"));
    });
}

QStringList FileChooserDialog::selectedInView() const
{
    // The list and detail views of Qt's dialog share one selection model.
    QAbstractItemView* view = findChild<QListView*>(QStringLiteral("listView"));
    if (!view) view = findChild<QTreeView*>(QStringLiteral("treeView"));
    if (!view || !view->selectionModel()) return {};
    QStringList paths;
    for (QModelIndex index : view->selectionModel()->selectedRows()) {
        const QAbstractItemModel* model = index.model();
        while (const auto* proxy = qobject_cast<const QAbstractProxyModel*>(model)) {
            index = proxy->mapToSource(index);
            model = proxy->sourceModel();
        }
        const auto* files = qobject_cast<const QFileSystemModel*>(model);
        if (!files) continue;
        const QString path = files->filePath(index);
        if (!path.isEmpty() && !paths.contains(path)) paths.append(path);
    }
    return paths;
}

void FileChooserDialog::accept()
{
    const QStringList picked = selectedInView();
    if (picked.isEmpty()) {
        // Typed names, or nothing selected: the dialog's own handling (a typed folder opens).
        QFileDialog::accept();
        if (result() == QDialog::Accepted) m_chosen = selectedFiles();
        return;
    }
    m_chosen = picked;
    QDialog::accept();
}

QStringList chooseFilesWithDialog(QWidget* parent)
{
    FileChooserDialog dialog(parent);
    // Come to the front even when another application is active.
    QTimer::singleShot(0, &dialog, [&dialog] {
        dialog.raise();
        dialog.activateWindow();
    });
    if (dialog.exec() != QDialog::Accepted) return {};
    return dialog.chosen();
}

} // namespace velora
