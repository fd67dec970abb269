#include "common/directory_watcher.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSocketNotifier>
#include <QTimer>
#include <QVector>

#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr quint32 ofContent = IN_MODIFY | IN_CLOSE_WRITE;
constexpr quint32 ofItself = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr quint32 ofNewNames = IN_CREATE | IN_MOVED_TO;
constexpr quint32 ofDirectory =
    IN_ONLYDIR | ofContent | ofItself | ofNewNames | IN_MOVED_FROM | IN_DELETE | IN_ATTRIB;
constexpr quint32 ofFile = ofContent | ofItself | IN_ATTRIB;
constexpr quint32 ofParent = IN_ONLYDIR | ofItself | ofNewNames;

/// What a watch is for. One inotify watch may serve several purposes, because the kernel has one
/// watch for each file or directory, whatever its names.
struct Purpose
{
    enum Kind {
        Directory,
        File,
        /// The parent of a directory that does not exist yet.
        Parent
    };
    Kind kind;
    QString path;
    /// For a parent: the name that is expected to appear in it.
    QByteArray expected{};
};

struct Watch
{
    QVector<Purpose> purposes;
    int scan = 0;
};

QString parentOf(const QString &path)
{
    const auto slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

} // namespace

class DirectoryWatcherPrivate
{
public:
    explicit DirectoryWatcherPrivate(DirectoryWatcher *watcher);
    ~DirectoryWatcherPrivate();
    Q_DISABLE_COPY(DirectoryWatcherPrivate)

    bool add(const QString &path, quint32 mask, const Purpose &purpose);
    void addParent(const QString &path);
    void read();
    void report(const inotify_event &event);
    void report(const Purpose &purpose, const inotify_event &event);
    void poll();

    const int descriptor;
    QHash<int, Watch> watches;
    int scan = 0;
    std::unique_ptr<QSocketNotifier> notifier;
    /// Runs while there are too few inotify watches.
    QTimer polling;
    /// Whether a watch was refused during this scan.
    bool isShort = false;
    DirectoryWatcher *const q;
};

DirectoryWatcherPrivate::DirectoryWatcherPrivate(DirectoryWatcher *watcher)
    : descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , q(watcher)
{
    polling.setInterval(1000);
    QObject::connect(&polling, &QTimer::timeout, q,
                     [this] { Q_EMIT q->changed(QString(), DirectoryWatcher::Anything); });
    if (descriptor < 0) {
        poll();
        return;
    }
    notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, q, [this] { read(); });
}

DirectoryWatcherPrivate::~DirectoryWatcherPrivate()
{
    notifier.reset();
    if (descriptor >= 0)
        ::close(descriptor);
}

// Reports a possible change every second, so that the receiver scans again.
void DirectoryWatcherPrivate::poll()
{
    isShort = true;
    if (polling.isActive())
        return;
    qWarning() << "No inotify watches are left. Directories are scanned every second:"
               << std::strerror(errno);
    polling.start();
}

bool DirectoryWatcherPrivate::add(const QString &path, quint32 mask, const Purpose &purpose)
{
    const int id = descriptor < 0
        ? -1
        : ::inotify_add_watch(descriptor, QFile::encodeName(path).constData(), mask | IN_MASK_ADD);
    if (id < 0) {
        if (descriptor >= 0 && (errno == ENOSPC || errno == ENOMEM))
            poll();
        return false;
    }
    Watch &watch = watches[id];
    if (watch.scan != scan)
        watch.purposes.clear();
    watch.scan = scan;
    watch.purposes.append(purpose);
    return true;
}

// Watches the nearest existing parent directory.
void DirectoryWatcherPrivate::addParent(const QString &path)
{
    QString missing = path;
    QString unwatchable;
    while (missing.size() > 1) {
        const QString parent = parentOf(missing);
        const QString name = missing.mid(missing.lastIndexOf(QLatin1Char('/')) + 1);
        if (!add(parent, ofParent, {Purpose::Parent, path, QFile::encodeName(name)})) {
            missing = parent;
            continue;
        }
        // The missing directory may have been created in between; then the search starts again. If
        // it exists but still is not watched, it may not be watched, or there are no more watches.
        if (missing == path || missing == unwatchable || !QFileInfo(missing).isDir())
            return;
        unwatchable = missing;
        missing = path;
    }
}

void DirectoryWatcherPrivate::read()
{
    alignas(inotify_event) char buffer[16384];
    for (;;) {
        const ssize_t size = ::read(descriptor, buffer, sizeof buffer);
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            return;
        for (ssize_t position = 0; position < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + position);
            position += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            report(*event);
        }
    }
}

void DirectoryWatcherPrivate::report(const inotify_event &event)
{
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        Q_EMIT q->changed(QString(), DirectoryWatcher::Anything);
        return;
    }
    // A copy, because a receiver may add watches.
    const QVector<Purpose> purposes = watches.value(event.wd).purposes;
    if ((event.mask & IN_IGNORED) != 0)
        watches.remove(event.wd);
    else
        for (const Purpose &purpose : purposes)
            report(purpose, event);
}

void DirectoryWatcherPrivate::report(const Purpose &purpose, const inotify_event &event)
{
    const QByteArray name = event.len > 0 ? QByteArray(event.name) : QByteArray();
    if (purpose.kind == Purpose::Parent) {
        const bool isExpected = name == purpose.expected && (event.mask & ofNewNames) != 0;
        if (isExpected || (event.mask & (ofItself | IN_UNMOUNT)) != 0)
            Q_EMIT q->changed(purpose.path, DirectoryWatcher::Anything);
        return;
    }
    const QString path =
        name.isEmpty() ? purpose.path : purpose.path + QLatin1Char('/') + QFile::decodeName(name);
    const bool isContent = (event.mask & ofContent) != 0;
    Q_EMIT q->changed(path, isContent ? DirectoryWatcher::Content : DirectoryWatcher::Anything);
}

DirectoryWatcher::DirectoryWatcher(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<DirectoryWatcherPrivate>(this))
{
}

DirectoryWatcher::~DirectoryWatcher() = default;

void DirectoryWatcher::beginScan()
{
    ++d->scan;
    d->isShort = d->descriptor < 0;
}

void DirectoryWatcher::watchDirectory(const QString &path)
{
    if (d->add(path, ofDirectory, {Purpose::Directory, path}))
        return;
    d->addParent(path);
    // It may have been created in between.
    (void)d->add(path, ofDirectory, {Purpose::Directory, path});
}

void DirectoryWatcher::watchFile(const QString &path)
{
    (void)d->add(path, ofFile, {Purpose::File, path});
}

void DirectoryWatcher::endScan()
{
    for (auto watch = d->watches.begin(); watch != d->watches.end();) {
        if (watch->scan == d->scan) {
            ++watch;
            continue;
        }
        ::inotify_rm_watch(d->descriptor, watch.key());
        watch = d->watches.erase(watch);
    }
    if (!d->isShort)
        d->polling.stop();
}

int DirectoryWatcher::count() const { return static_cast<int>(d->watches.size()); }

bool DirectoryWatcher::isPolling() const { return d->polling.isActive(); }
