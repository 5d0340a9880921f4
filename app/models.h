#pragma once
// The Studio's pieces and photos as list models for the views. Each keeps the identifiers of its
// rows and follows the Studio item by item, so one changed piece is one changed row.
#include "records.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>
#include <QUuid>

#include <functional>

namespace velora {

class Studio;

class PieceListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        VisibleRole,   // the piece's own switch
        ShownRole,     // on the desktop now: visible and not hidden with all pieces
        LockedRole,
        StatusRole,    // e.g. "Row · 3 photos · Gallery · Locked"
        PhotoCountRole,
    };

    explicit PieceListModel(Studio& studio, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QUuid id(int row) const { return row >= 0 && row < m_ids.size() ? m_ids[row] : QUuid(); }
    int row(const QUuid& id) const { return int(m_ids.indexOf(id)); }
    QModelIndex indexOf(const QUuid& id) const;

    // Names the display a piece is on, for its status; empty when not worth saying (one display).
    using DisplayNamer = std::function<QString(const Piece&)>;
    void setDisplayNamer(DisplayNamer namer);

private:
    void reset();
    void changedRow(const QUuid& id);

    Studio& m_studio;
    QList<QUuid> m_ids;
    DisplayNamer m_displayName;
};

class PhotoListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        AspectRole,    // width over height, a photo without height as a square
        UsageRole,     // how many pieces use it
        SelectedRole,  // in the library selection
        CaptionRole,
        FileNameRole,  // the thumbnail's file name, for loading
    };

    explicit PhotoListModel(Studio& studio, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QUuid id(int row) const { return row >= 0 && row < m_ids.size() ? m_ids[row] : QUuid(); }
    int row(const QUuid& id) const { return m_rows.value(id, -1); }

private:
    void reset();
    void reindex(int from);
    void allRowsChanged(int role);
    int usage(const QUuid& id) const;

    Studio& m_studio;
    QList<QUuid> m_ids;
    QHash<QUuid, int> m_rows;
    mutable QHash<QUuid, int> m_usage;
    mutable bool m_usageValid = false;
};

} // namespace velora
