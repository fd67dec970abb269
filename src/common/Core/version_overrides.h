#pragma once

#include <QHash>
#include <QObject>
#include <QString>

struct Places;

namespace Core {

class ApplicationId;
class Findings;

/// The operating system vendor's word on which OS version applications target, from
/// /etc/orvane/os-version-support.cfg. A missing file overrides nothing.
class VersionOverrides : public QObject
{
    Q_OBJECT

public:
    /// Loads the file.
    /// @param findings has to live as long as this object.
    VersionOverrides(const Places &places, Findings &findings, QObject *parent = nullptr);

    /// Forgets what was loaded and loads the file again.
    void reload();
    /// False when the file is there, or may be, and could not be read: worth another reload().
    [[nodiscard]] bool isLoaded() const { return m_isLoaded; }
    /// The version text that applies to `application`, the most specific key first; empty when
    /// none does.
    [[nodiscard]] QString versionFor(const ApplicationId &application) const;

private:
    void load();

    const QString m_path;
    /// Where the file really is.
    const QString m_realPath;
    Findings &m_findings;
    QHash<QString, QString> m_versions;
    bool m_isLoaded = false;
};

} // namespace Core
