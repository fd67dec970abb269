#include "common/logging.h"

#include <QByteArray>
#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The manager names the journal's stream by device and inode; standard error may have been
// redirected elsewhere since.
bool writesToJournal()
{
    struct stat status = {};
    if (fstat(STDERR_FILENO, &status) != 0)
        return false;
    return qgetenv("JOURNAL_STREAM")
        == QByteArray::number(static_cast<qulonglong>(status.st_dev)) + ':'
        + QByteArray::number(static_cast<qulonglong>(status.st_ino));
}

const char *priorityPrefix(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "<7>";
    case QtInfoMsg:
        return "<6>";
    case QtWarningMsg:
        return "<4>";
    case QtCriticalMsg:
        return "<3>";
    case QtFatalMsg:
        return "<2>";
    }
    return "<5>";
}

// A text taken from somebody else must not forge a second line. To the journal a zero byte ends a
// line too, and so does a length of 48 KiB.
QByteArray onOneLine(const QString &message)
{
    constexpr int longest = 4096;
    const bool isCut = message.size() > longest;
    QByteArray text = (isCut ? message.left(longest) + QStringLiteral("...") : message).toUtf8();
    const auto isControl = [](char byte) {
        return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
    };
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    return text;
}

bool isSocket()
{
    struct stat status = {};
    return fstat(STDERR_FILENO, &status) == 0 && S_ISSOCK(status.st_mode);
}

/// Standard error as a place for lines that somebody may not read. A line for which there is no
/// room is lost, because the program has more to do than to be heard. Usable from any thread.
class LineSink
{
public:
    void write(const QByteArray &line);

private:
    [[nodiscard]] bool hasRoom() const;
    [[nodiscard]] bool push(const QByteArray &text);

    /// For a reader that is only slow, in milliseconds.
    static constexpr int patienceMs = 500;

    QMutex m_mutex;
    const bool m_isSocket = isSocket();
    /// Nobody waits a second time before something has been read.
    bool m_isStuck = false;
    bool m_endsInsideLine = false;
    quint64 m_lost = 0;
};

bool LineSink::hasRoom() const
{
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, m_isStuck ? 0 : patienceMs) > 0;
}

bool LineSink::push(const QByteArray &text)
{
    for (int done = 0; done < text.size();) {
        if (!hasRoom())
            return false;
        // A pipe that has any room takes so many without waiting.
        const auto size = static_cast<std::size_t>(qMin(text.size() - done, PIPE_BUF));
        const char *const from = text.constData() + done;
        const ssize_t written = m_isSocket
            ? ::send(STDERR_FILENO, from, size, MSG_DONTWAIT | MSG_NOSIGNAL)
            : ::write(STDERR_FILENO, from, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        m_isStuck = false;
        done += static_cast<int>(written);
        m_endsInsideLine = text.at(done - 1) != '\n';
    }
    return true;
}

void LineSink::write(const QByteArray &line)
{
    const QMutexLocker locker(&m_mutex);
    QByteArray text = m_endsInsideLine ? QByteArray("\n") : QByteArray();
    if (m_lost > 0)
        text += "(log lines lost: " + QByteArray::number(m_lost) + ")\n";
    if (push(text + line)) {
        m_lost = 0;
        return;
    }
    ++m_lost;
    m_isStuck = true;
}

// A file or a connection that is opened later must not get the log.
void openStandardStreams()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0 && errno == EBADF)
            // The lowest number that is free.
            (void)::open("/dev/null", O_RDWR | O_NOCTTY);
    }
}

void writeLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const bool journal = writesToJournal();
    // Never destroyed: lines are written until the very end.
    static auto *const sink = new LineSink;

    QByteArray line;
    if (journal)
        line += priorityPrefix(type);
    if (context.file != nullptr) {
        line += context.file;
        line += ':' + QByteArray::number(context.line) + ": ";
    }
    if (context.function != nullptr) {
        line += context.function;
        line += ": ";
    }
    line += onOneLine(message);
    line += '\n';
    sink->write(line);
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

void installLogHandler()
{
    openStandardStreams();
    // A reader of the log who leaves must not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    qInstallMessageHandler(writeLine);
}
