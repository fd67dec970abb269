#pragma once

#include <QByteArray>
#include <QVector>

#include <optional>

// Reads a unit file as systemd does, by the rules of systemd.syntax(7) and systemd.service(5). It
// shares no code with the program that writes units. Texts are bytes, as in systemd.

/// An assignment. systemd ignores lines that it cannot read, and so does this reader.
struct UnitAssignment
{
    QByteArray section;
    QByteArray key;
    QByteArray value;
};

/// The assignments of a unit file, in the file's order.
[[nodiscard]] QVector<UnitAssignment> readUnit(const QByteArray &text);

/// The words of a command, without quotes. Specifiers and variables are not replaced.
using UnitCommand = QVector<QByteArray>;

/// The commands of an ExecStart=; nothing when a quote is not closed, because systemd refuses that.
[[nodiscard]] std::optional<QVector<UnitCommand>> readCommands(const QByteArray &value);
