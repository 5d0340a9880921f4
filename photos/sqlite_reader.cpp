#include "sqlite_reader.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <QUuid>

namespace velora {

SqliteReader::SqliteReader(const QString& path)
    : m_name(QStringLiteral("velora-reader-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    // Read-only through a URI, so SQLite never creates a journal beside the manager's file; a
    // longer lock than the wait counts as unreadable.
    db.setDatabaseName(QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded) + QStringLiteral("?mode=ro"));
    db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=1000"));
    m_ok = db.open() && QSqlQuery(db).exec(QStringLiteral("BEGIN"));
}

SqliteReader::~SqliteReader()
{
    {
        QSqlDatabase db = QSqlDatabase::database(m_name, false);
        if (db.isOpen()) {
            QSqlQuery(db).exec(QStringLiteral("ROLLBACK"));
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(m_name);
}

bool SqliteReader::each(const QString& sql, const std::function<void(const QSqlQuery&)>& row)
{
    if (!m_ok) return false;
    QSqlQuery q(QSqlDatabase::database(m_name, false));
    q.setForwardOnly(true);
    m_ok = q.exec(sql);
    while (m_ok && q.next()) row(q);
    m_ok = m_ok && !q.lastError().isValid();
    return m_ok;
}

} // namespace velora
