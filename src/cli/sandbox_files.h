#pragma once

#include <QString>
#include <QStringList>

struct Places;

// The files that a task's sandbox is made of, and what may be wrong with them.

namespace Cli {

/// A file that a sandbox needs.
struct SandboxFile
{
    /// In this system: below the root of an image. Empty when it is not there.
    QString path;
    /// Where it belongs: in the first of the folders that it may be in.
    QString expected;
};

/// The program that confines tasks.
[[nodiscard]] SandboxFile sandboxProgram(const Places &places);
/// The file of a permission.
[[nodiscard]] SandboxFile permissionFile(const QString &name, const Places &places);
/// The names of all permissions that have a file.
[[nodiscard]] QStringList permissionNames(const Places &places);
/// The permission that every task is given, and the one of a task without a home.
[[nodiscard]] QString basePermission(bool isHomeless = false);
/// The file that may be meant by one that is missing: of a name that differs by a further ending or
/// in upper and lower case, in the same folder. Empty when there is none.
[[nodiscard]] QString misnamed(const QString &missing);

} // namespace Cli
