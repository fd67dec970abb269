#pragma once

/// Installs a message handler that writes what qDebug(), qWarning() and the like log to standard
/// error, one line each: source file and line, the full signature of the function that logs, and
/// the message. When standard error is the journal, each line starts with a priority prefix of
/// sd-daemon(3). Also opens closed standard streams and ignores SIGPIPE. Call once, before anything
/// is logged.
void installLogHandler();
