#include "common/logging.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// systemd sets JOURNAL_STREAM to device and inode of the journal's stream. They are compared,
// because standard error may have been redirected since.
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

// A text from another process must not fake a second log line. The journal also ends a line at a
// zero byte and after 48 KiB.
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

/// Writes lines to standard error, whose reader may not keep up. A line for which there is no room
/// is dropped, because logging must not block the program for long. Usable from any thread.
class LineSink
{
public:
    void write(const QByteArray &line);

private:
    [[nodiscard]] bool hasRoom() const;
    [[nodiscard]] bool push(const QByteArray &text);

    /// How long to wait for a slow reader, in milliseconds.
    static constexpr int timeoutMs = 500;

    // Not the framework's, whose locks the thread sanitizer does not see.
    std::mutex m_mutex;
    const bool m_isSocket = isSocket();
    /// After a timeout, later lines do not wait until something has been read.
    bool m_isStuck = false;
    bool m_endsInsideLine = false;
    quint64 m_lost = 0;
};

bool LineSink::hasRoom() const
{
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, m_isStuck ? 0 : timeoutMs) > 0;
}

bool LineSink::push(const QByteArray &text)
{
    for (int done = 0; done < text.size();) {
        if (!hasRoom())
            return false;
        // A pipe that is ready accepts up to PIPE_BUF bytes without blocking.
        const auto size = static_cast<std::size_t>(qMin<qint64>(text.size() - done, PIPE_BUF));
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
    const std::lock_guard<std::mutex> locker(m_mutex);
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

// Opens closed standard streams, so that a file or connection that is opened later does not get the
// number of standard error and with it the log.
void openStandardStreams()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0 && errno == EBADF)
            // open() returns the lowest free number, which is fd.
            (void)::open("/dev/null", O_RDWR | O_NOCTTY);
    }
}

void writeLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const bool journal = writesToJournal();
    // Never destroyed, because lines may be written until the process ends.
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
    // The program must not end when the reader of the log ends.
    std::signal(SIGPIPE, SIG_IGN);
    qInstallMessageHandler(writeLine);
}
