// Stand-in for the platform's desktop entry reader: the operations that this project uses, on
// GLib's key file parser.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class MDesktopEntryPrivate;

/// One desktop entry file, read at construction. A file that cannot be read or parsed gives an
/// invalid entry whose values are all empty. A file with Hidden=true (deleted) gives an invalid
/// entry that has only this key. A file that is too large is logged.
class MDesktopEntry
{
public:
    explicit MDesktopEntry(const QString &fileName);
    virtual ~MDesktopEntry();
    MDesktopEntry(const MDesktopEntry &) = delete;
    MDesktopEntry &operator=(const MDesktopEntry &) = delete;

    /// True when the main group has a known Type and a Name. Does not depend on the language.
    bool isValid() const;
    QString type() const;
    QString url() const;
    /// In the language of the process.
    QString name() const;
    /// In the language of the process.
    QString icon() const;
    QString exec() const;
    QString xMaemoService() const;
    QStringList mimeType() const;
    bool supportMimeParents() const;
    /// The organisation and the name that the entry declares for the application; empty if absent.
    QString appOrgname() const;
    QString appName() const;

    /// In file order.
    QStringList groups() const;
    /// A key of the main group.
    QString value(const QString &key) const;
    QString value(const QString &group, const QString &key) const;
    QStringList stringListValue(const QString &group, const QString &key) const;

private:
    std::unique_ptr<MDesktopEntryPrivate> const d;
};
