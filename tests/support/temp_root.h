#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A temporary root directory, with the directories that the daemon expects to exist and the data
/// directories that it reads.
class TempRoot
{
public:
    TempRoot();

    /// Absolute path of a file below the root.
    /// @param below begins with a slash.
    [[nodiscard]] QString path(const QString &below = {}) const;
    /// Writes a file and makes its directories.
    void write(const QString &below, const QByteArray &text) const;
    [[nodiscard]] QByteArray read(const QString &below) const;
    [[nodiscard]] bool exists(const QString &below) const;
    void remove(const QString &below) const;

    /// Writes the desktop entry of com.example.<application>, with further groups.
    void writeApplication(const QString &application, const QByteArray &groups) const;
    /// Makes the daemon serve a task type itself.
    void serveType(const QString &type) const;
    /// Makes a task's unit start at boot, by a link as systemd makes it.
    void startAtBoot(const QString &taskId) const;
    [[nodiscard]] QString unitFile(const QString &taskId) const;
    [[nodiscard]] QString policyFile(const QString &taskId) const;
    /// The environment in which a process looks for everything below this root.
    [[nodiscard]] QStringList environment() const;

private:
    QTemporaryDir m_directory;
};
