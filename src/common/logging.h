#pragma once

/// Sends everything that qDebug(), qWarning() and their kin say to standard error, one line each:
/// source file and line, the full signature of the function that logs, then the message. When
/// standard error is the journal, each line starts with the priority prefix of sd-daemon(3).
/// Call once, before anything logs.
void installLogHandler();
