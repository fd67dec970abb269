#pragma once

#include <QString>
#include <QStringList>

struct Places;

// Finds the files that a task's sandbox needs.

namespace Cli {

/// A file that a sandbox needs.
struct SandboxFile
{
    /// Its path on this system, including the root of an image. Empty when it is missing.
    QString path;
    /// The path where it is expected: in the first of the folders that it may be in.
    QString expected;
};

/// The program that confines tasks.
[[nodiscard]] SandboxFile sandboxProgram(const Places &places);
/// The file of a permission.
[[nodiscard]] SandboxFile permissionFile(const QString &name, const Places &places);
/// The names of all permissions that have a file.
[[nodiscard]] QStringList permissionNames(const Places &places);
/// The permission that every task is given, with or without a home.
[[nodiscard]] QString basePermission(bool isHomeless = false);
/// A file in the same folder that may be the missing one under a wrong name: with an extra
/// extension, or with other upper and lower case. Empty when there is none.
[[nodiscard]] QString misnamed(const QString &missing);

} // namespace Cli
