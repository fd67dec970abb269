#pragma once

#include <QString>

// The text of quantities and states in the tables of every command.

namespace Cli {

/// The text for an unknown value. systemd marks an unknown quantity with the largest number.
[[nodiscard]] QString unknown();
[[nodiscard]] bool isKnown(quint64 quantity);
/// A unit's ActiveState: "running", "failed", "stopped" ...
[[nodiscard]] QString stateOf(const QString &activeState);
/// A time, in microseconds since 1970: only the time if it is today, else also the date. 0 means
/// unknown.
[[nodiscard]] QString momentOf(quint64 microseconds);
/// The same for JSON: ISO 8601 with the offset from UTC; empty when unknown.
[[nodiscard]] QString isoMomentOf(quint64 microseconds);
/// "12.3M".
[[nodiscard]] QString bytesOf(quint64 bytes);
/// Nanoseconds of processor time: "0.52s", "3min 12s", "5h 03min".
[[nodiscard]] QString processorTimeOf(quint64 nanoseconds);
/// The same for a duration in microseconds.
[[nodiscard]] QString durationOf(quint64 microseconds);
/// Who serves a task type: "system" or "user".
[[nodiscard]] QString serverOf(bool worksInSession);
[[nodiscard]] QString yesOrNo(bool yes);
/// A place in a file in the form that editors understand: "notes.desktop:9"; only the file if the
/// line is 0.
[[nodiscard]] QString placeOf(const QString &file, int line);
/// A process id; -1 and 0 mean unknown.
[[nodiscard]] QString processOf(int pid);

} // namespace Cli
