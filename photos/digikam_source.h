#pragma once
// digiKam's core database (digikam4.db, SQLite only), found through digiKam's own configuration and
// opened read-only like Shotwell's. Its physical albums and its tags become albums.
#include "catalog_source.h"

namespace velora {

class DigikamSource : public CatalogSource {
public:
    explicit DigikamSource(QString databasePath);

    // The database digiKam is set up with, from <configHome>/digikamrc; nothing when digiKam isn't
    // set up here or keeps its library in a database server.
    static std::optional<QString> databaseFromConfig(const QString& configHome);
    // Where an album root lies: "volumeid:?path=…", "volumeid:?uuid=…" (through the mounted volume
    // of that UUID) or "networkshareid:?mountpath=…"; empty when it isn't mounted here.
    static QString mountPointOf(const QString& identifier);

    QString name() const override;
    QString databasePath() const { return m_path; }

    // digiKam's item status and category values.
    static constexpr int statusVisible = 1;
    static constexpr int categoryImage = 1;

protected:
    std::optional<Catalog> read(QString& problem) const override;

private:
    QString m_path;
};

} // namespace velora
