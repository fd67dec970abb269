#pragma once

#include <QHash>
#include <QObject>
#include <QString>

struct Places;

namespace Core {

class ApplicationId;
class Findings;

/// The operating system versions that applications target, as the system's vendor configures them
/// in /etc/orvane/os-version-support.cfg. A missing file overrides nothing. Event-loop thread only.
class VersionOverrides : public QObject
{
    Q_OBJECT

public:
    /// Loads the file.
    /// @param findings has to outlive this object.
    VersionOverrides(const Places &places, Findings &findings, QObject *parent = nullptr);

    /// Loads the file again.
    void reload();
    /// False when the file exists, or may exist, and could not be read: reload() may succeed later.
    [[nodiscard]] bool isLoaded() const { return m_isLoaded; }
    /// The version that applies to `application`, by the most specific key; empty when no key
    /// applies.
    [[nodiscard]] QString versionFor(const ApplicationId &application) const;

private:
    void load();

    const QString m_path;
    /// The path with the links of an image resolved.
    const QString m_realPath;
    Findings &m_findings;
    QHash<QString, QString> m_versions;
    bool m_isLoaded = false;
};

} // namespace Core
