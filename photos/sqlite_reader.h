#pragma once
// A photo manager's SQLite database opened strictly read-only through Qt SQL: no journal is ever
// made beside it, a short busy wait rides out the manager's own brief writes, and everything is
// read inside one read transaction so a write meanwhile can't give a torn picture.
#include <QString>

#include <functional>

class QSqlQuery;

namespace velora {

class SqliteReader {
public:
    explicit SqliteReader(const QString& path);
    ~SqliteReader();
    SqliteReader(const SqliteReader&) = delete;
    SqliteReader& operator=(const SqliteReader&) = delete;

    // False once anything failed: opening, or any query so far.
    bool ok() const { return m_ok; }
    // Runs `sql` and calls `row` for each result row; false (and not ok() from then on) on failure.
    bool each(const QString& sql, const std::function<void(const QSqlQuery&)>& row);

private:
    QString m_name;
    bool m_ok = false;
};

} // namespace velora
