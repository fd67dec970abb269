#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A root directory of the test's own, with the directories that the daemon expects to exist and
/// the data directories that it reads.
class TempRoot
{
public:
    TempRoot();

    /// Absolute path of a path below the root, which starts with a slash.
    [[nodiscard]] QString path(const QString &below = {}) const;
    /// Writes a file, directories included.
    void write(const QString &below, const QByteArray &text) const;
    [[nodiscard]] QByteArray read(const QString &below) const;
    [[nodiscard]] bool exists(const QString &below) const;
    void remove(const QString &below) const;

    /// A desktop entry of com.example.<application> with further groups as given.
    void writeApplication(const QString &application, const QByteArray &groups) const;
    /// Has the daemon serve a task type itself.
    void serveType(const QString &type) const;
    /// Has a task's unit started at boot, by a link as systemd makes it in a system of this root.
    void startAtBoot(const QString &taskId) const;
    [[nodiscard]] QString unitFile(const QString &taskId) const;
    [[nodiscard]] QString policyFile(const QString &taskId) const;
    /// The environment that makes a process look here for everything.
    [[nodiscard]] QStringList environment() const;

private:
    QTemporaryDir m_directory;
};
