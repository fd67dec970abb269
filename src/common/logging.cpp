#include "common/logging.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

void writeLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const bool journal = writesToJournal();

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
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

void installLogHandler() { qInstallMessageHandler(writeLine); }
