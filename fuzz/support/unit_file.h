#pragma once

#include <QByteArray>
#include <QVector>

#include <optional>

// Reads a unit file by the rules of systemd.syntax(7) and systemd.service(5), and shares no code
// with the program that writes units: it says what systemd makes of one. Texts are bytes, as they
// are to systemd.

/// One assignment. systemd ignores what it cannot read, so a line that is missing here has no
/// effect.
struct UnitAssignment
{
    QByteArray section;
    QByteArray key;
    QByteArray value;
};

/// The assignments of a unit file, in its order.
[[nodiscard]] QVector<UnitAssignment> readUnit(const QByteArray &text);

/// One command: its words, unquoted. Specifiers and variables are not replaced.
using UnitCommand = QVector<QByteArray>;

/// The commands of an ExecStart=; nothing when a quote is open, which systemd refuses.
[[nodiscard]] std::optional<QVector<UnitCommand>> readCommands(const QByteArray &value);
