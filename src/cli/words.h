#pragma once

#include <QString>

// How quantities and states are written for a person, in tables of every command.

namespace Cli {

/// Where a quantity is not known; systemd's own sign for it is the largest number.
[[nodiscard]] QString unknown();
[[nodiscard]] bool isKnown(quint64 quantity);
/// A unit's ActiveState: "running", "failed", "stopped" ...
[[nodiscard]] QString stateOf(const QString &activeState);
/// A moment, in microseconds since 1970: the time when it was today, else the day and the time. 0
/// is not known.
[[nodiscard]] QString momentOf(quint64 microseconds);
/// The same for JSON: ISO 8601 with the distance from UTC; empty when not known.
[[nodiscard]] QString isoMomentOf(quint64 microseconds);
/// "12.3M".
[[nodiscard]] QString bytesOf(quint64 bytes);
/// Nanoseconds of processor time: "0.52s", "3min 12s", "5h 03min".
[[nodiscard]] QString processorTimeOf(quint64 nanoseconds);
/// The same of a span of time, in microseconds.
[[nodiscard]] QString durationOf(quint64 microseconds);
/// "system" or "user": who serves a task type.
[[nodiscard]] QString serverOf(bool worksInSession);
[[nodiscard]] QString yesOrNo(bool yes);
/// A place in a file, as editors take it: "notes.desktop:9"; the file alone where the line is 0.
[[nodiscard]] QString placeOf(const QString &file, int line);
/// A process id; -1 and 0 are not known.
[[nodiscard]] QString processOf(int pid);

} // namespace Cli
