#pragma once

#include <QObject>
#include <QString>

#include <memory>

class DirectoryWatcherPrivate;

/// Tells of changes in directories, by one watch for each directory instead of one for each file.
/// What is watched is named again before each look, so that a directory or file which has been
/// replaced meanwhile is watched anew. Main thread only.
class DirectoryWatcher : public QObject
{
    Q_OBJECT

public:
    enum Change {
        /// Something was written to a file.
        Content,
        /// A name has come or gone, rights were changed, or a directory itself is another. Also
        /// after a loss of events, when anything may have changed.
        Anything
    };
    Q_ENUM(Change)

    explicit DirectoryWatcher(QObject *parent = nullptr);
    ~DirectoryWatcher() override;

    /// To be called before a look names what it watches.
    void beginLook();
    /// Watches a directory and all files in it. When it does not exist, the watcher tells when it
    /// comes into being.
    void watchDirectory(const QString &path);
    /// Watches one file that its directory cannot speak for: what a link leads to, or a file that
    /// can be written to under another name. One that does not exist is not watched.
    void watchFile(const QString &path);
    /// Stops watching what the look has not named.
    void endLook();
    /// How many watches of the system are held.
    [[nodiscard]] int count() const;
    /// Whether the system had too few watches for the last look. Until a look has all that it
    /// names, the watcher says every second that anything may have changed.
    [[nodiscard]] bool isPolling() const;

Q_SIGNALS:
    /// @param path of the file or directory that has changed, below or as one of those that are
    /// watched; empty when it is not known.
    void changed(const QString &path, DirectoryWatcher::Change change);

private:
    std::unique_ptr<DirectoryWatcherPrivate> const d;
};
