#pragma once

#include <QHash>
#include <QObject>
#include <QString>

namespace Core {

class ApplicationId;

/// The operating system vendor's word on which OS version applications target, from
/// /etc/orvane/os-version-support.cfg below the root prefix. A missing file overrides nothing.
class VersionOverrides : public QObject
{
    Q_OBJECT

public:
    explicit VersionOverrides(QObject *parent = nullptr);

    /// Forgets what was loaded and loads the file again.
    void reload();
    /// The version text that applies to `application`, the most specific key first; empty when
    /// none does.
    [[nodiscard]] QString versionFor(const ApplicationId &application) const;

private:
    void load();

    QHash<QString, QString> m_versions;
};

} // namespace Core
