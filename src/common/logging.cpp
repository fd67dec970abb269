#include "common/logging.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

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
    line += message.toUtf8();
    // A name taken from an application must not forge a second line; to the journal a zero byte
    // ends a line too.
    line.replace('\n', ' ').replace('\0', ' ');
    line += '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

void installLogHandler() { qInstallMessageHandler(writeLine); }
