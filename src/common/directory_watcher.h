#pragma once

#include <QObject>
#include <QString>

#include <memory>

class DirectoryWatcherPrivate;

/// Reports changes in directories. Needs one inotify watch for each directory, not for each file.
/// The user of this class names everything that it watches again at each scan, so that a directory
/// or file that was replaced is watched, too. Event-loop thread only.
class DirectoryWatcher : public QObject
{
    Q_OBJECT

public:
    enum Change {
        /// The content of a file was changed.
        Content,
        /// Any other change: a name was added or removed, permissions were changed, or a directory
        /// was replaced. Also reported when events were lost.
        Anything
    };
    Q_ENUM(Change)

    explicit DirectoryWatcher(QObject *parent = nullptr);
    ~DirectoryWatcher() override;

    /// To be called at the start of a scan.
    void beginScan();
    /// Watches a directory and all files in it. If it does not exist, its creation is reported.
    void watchDirectory(const QString &path);
    /// Watches a file whose changes the watch on its directory does not report: the target of a
    /// link, or a file with several names. A file that does not exist is not watched.
    void watchFile(const QString &path);
    /// Stops watching everything that was not named since beginScan().
    void endScan();
    /// Number of inotify watches in use.
    [[nodiscard]] int count() const;
    /// Whether there were too few inotify watches for the last scan. Until a scan gets all its
    /// watches, changed() is emitted every second.
    [[nodiscard]] bool isPolling() const;

Q_SIGNALS:
    /// Something has changed.
    /// @param path the changed file or directory: one that is watched or in one that is watched.
    /// Empty when not known.
    void changed(const QString &path, DirectoryWatcher::Change change);

private:
    std::unique_ptr<DirectoryWatcherPrivate> const d;
};
