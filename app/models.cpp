#include "models.h"

#include "studio.h"
#include "texts.h"

#include <algorithm>

namespace velora {

// --- pieces --------------------------------------------------------------------------------

PieceListModel::PieceListModel(Studio& studio, QObject* parent)
    : QAbstractListModel(parent)
    , m_studio(studio)
{
    for (const Piece& p : m_studio.pieces()) m_ids.append(p.id);
    connect(&studio, &Studio::piecesReset, this, &PieceListModel::reset);
    connect(&studio, &Studio::pieceInserted, this, [this](const QUuid& id, qsizetype row) {
        row = std::clamp<qsizetype>(row, 0, m_ids.size());
        beginInsertRows({}, int(row), int(row));
        m_ids.insert(row, id);
        endInsertRows();
    });
    connect(&studio, &Studio::pieceRemoved, this, [this](const QUuid& id, qsizetype row) {
        if (row < 0 || row >= m_ids.size() || m_ids[row] != id) row = m_ids.indexOf(id);
        if (row < 0) return;
        beginRemoveRows({}, int(row), int(row));
        m_ids.removeAt(row);
        endRemoveRows();
    });
    connect(&studio, &Studio::pieceChanged, this, &PieceListModel::changedRow);
    connect(&studio, &Studio::allHiddenChanged, this, [this] {
        if (!m_ids.isEmpty()) emit dataChanged(index(0), index(int(m_ids.size()) - 1), {ShownRole, StatusRole});
    });
}

void PieceListModel::reset()
{
    beginResetModel();
    m_ids.clear();
    for (const Piece& p : m_studio.pieces()) m_ids.append(p.id);
    endResetModel();
}

void PieceListModel::changedRow(const QUuid& id)
{
    for (int r = 0; r < m_ids.size(); ++r)
        if (m_ids[r] == id) emit dataChanged(index(r), index(r));
}

void PieceListModel::setDisplayNamer(DisplayNamer namer)
{
    m_displayName = std::move(namer);
    if (!m_ids.isEmpty()) emit dataChanged(index(0), index(int(m_ids.size()) - 1), {StatusRole});
}

QModelIndex PieceListModel::indexOf(const QUuid& id) const
{
    const int r = row(id);
    return r < 0 ? QModelIndex() : index(r);
}

int PieceListModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(m_ids.size()); }

QVariant PieceListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const QUuid id = m_ids[index.row()];
    if (role == IdRole) return id;
    // The Studio's list may hold a second piece with the same id (a hand-edited file): the row
    // shows the first, as every operation by id does.
    const Piece* piece = m_studio.piece(id);
    if (!piece) return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole: return piece->name;
    case Qt::ToolTipRole:
    case StatusRole:
        return Texts::status(*piece, m_studio.allHidden(), m_displayName ? m_displayName(*piece) : QString());
    case Qt::AccessibleDescriptionRole:
        return Texts::status(*piece, m_studio.allHidden(), QString());
    case VisibleRole: return piece->isVisible;
    case ShownRole: return piece->isVisible && !m_studio.allHidden();
    case LockedRole: return piece->isLocked;
    case PhotoCountRole: return int(piece->photoIDs.size());
    default: return {};
    }
}

QHash<int, QByteArray> PieceListModel::roleNames() const
{
    auto names = QAbstractListModel::roleNames();
    names.insert({{IdRole, "id"}, {VisibleRole, "visible"}, {ShownRole, "shown"}, {LockedRole, "locked"},
                  {StatusRole, "status"}, {PhotoCountRole, "photoCount"}});
    return names;
}

// --- photos --------------------------------------------------------------------------------

PhotoListModel::PhotoListModel(Studio& studio, QObject* parent)
    : QAbstractListModel(parent)
    , m_studio(studio)
{
    for (const Photo& p : m_studio.photos()) m_ids.append(p.id);
    reindex(0);
    connect(&studio, &Studio::photosReset, this, &PhotoListModel::reset);
    connect(&studio, &Studio::photosAppended, this, [this](qsizetype first, qsizetype count) {
        if (count <= 0) return;
        first = std::min<qsizetype>(first, m_ids.size());
        beginInsertRows({}, int(first), int(first + count - 1));
        const QList<Photo>& photos = m_studio.photos();
        for (qsizetype i = first; i < first + count && i < photos.size(); ++i) m_ids.insert(i, photos[i].id);
        reindex(int(first));
        endInsertRows();
    });
    connect(&studio, &Studio::photosRemoved, this, [this](const QSet<QUuid>& ids) {
        // Contiguous runs from the back, so rows ahead stay where they are.
        int r = int(m_ids.size()) - 1;
        while (r >= 0) {
            if (!ids.contains(m_ids[r])) {
                --r;
                continue;
            }
            int first = r;
            while (first > 0 && ids.contains(m_ids[first - 1])) --first;
            beginRemoveRows({}, first, r);
            m_ids.remove(first, r - first + 1);
            endRemoveRows();
            r = first - 1;
        }
        reindex(0);
    });
    connect(&studio, &Studio::photoChanged, this, [this](const QUuid& id) {
        const int r = row(id);
        if (r >= 0) emit dataChanged(index(r), index(r));
    });
    connect(&studio, &Studio::piecesChanged, this, [this] {
        m_usageValid = false;
        allRowsChanged(UsageRole);
    });
    connect(&studio, &Studio::librarySelectionChanged, this, [this] { allRowsChanged(SelectedRole); });
}

void PhotoListModel::reset()
{
    beginResetModel();
    m_ids.clear();
    for (const Photo& p : m_studio.photos()) m_ids.append(p.id);
    reindex(0);
    endResetModel();
}

void PhotoListModel::reindex(int from)
{
    if (from == 0) m_rows.clear();
    for (int r = from; r < m_ids.size(); ++r) m_rows.insert(m_ids[r], r);
}

void PhotoListModel::allRowsChanged(int role)
{
    if (!m_ids.isEmpty()) emit dataChanged(index(0), index(int(m_ids.size()) - 1), {role});
}

int PhotoListModel::usage(const QUuid& id) const
{
    if (!m_usageValid) {
        m_usage.clear();
        for (const Piece& p : m_studio.pieces()) {
            // A piece counts once per photo, however often it lists it.
            QSet<QUuid> seen;
            for (const QUuid& photo : p.photoIDs)
                if (!seen.contains(photo)) {
                    seen.insert(photo);
                    ++m_usage[photo];
                }
        }
        m_usageValid = true;
    }
    return m_usage.value(id, 0);
}

int PhotoListModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(m_ids.size()); }

QVariant PhotoListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const QUuid id = m_ids[index.row()];
    switch (role) {
    case IdRole: return id;
    case UsageRole: return usage(id);
    case SelectedRole: return m_studio.librarySelection().contains(id);
    default: break;
    }
    const QList<Photo>& photos = m_studio.photos();
    const Photo* photo = index.row() < photos.size() && photos[index.row()].id == id ? &photos[index.row()] : m_studio.photo(id);
    if (!photo) return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: return photo->title;
    case AspectRole: return photo->pixelHeight >= 1 ? double(photo->pixelWidth) / double(photo->pixelHeight) : 1.0;
    case CaptionRole: return photo->caption;
    case FileNameRole: return photo->thumbName;
    default: return {};
    }
}

QHash<int, QByteArray> PhotoListModel::roleNames() const
{
    auto names = QAbstractListModel::roleNames();
    names.insert({{IdRole, "id"}, {AspectRole, "aspect"}, {UsageRole, "usage"}, {SelectedRole, "selected"},
                  {CaptionRole, "caption"}, {FileNameRole, "fileName"}});
    return names;
}

} // namespace velora
