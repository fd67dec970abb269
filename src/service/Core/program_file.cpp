#include "service/Core/program_file.h"

#include "files/foreign_file.h"

#include <QFile>

#include <unistd.h>

namespace Core {

bool isExecutable(const QString &path)
{
    constexpr auto anybody = QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
    const QFileDevice::Permissions permissions = QFile::permissions(path);
    // Root may execute any file that has an x bit. access() would deny this to a root process
    // without that capability, so the bits are checked.
    return permissions.testFlag(QFileDevice::ExeUser)
        || (geteuid() == 0 && (permissions & anybody));
}

bool isElf(const QString &path) { return readStartOfForeignFile(path, 4).text == "\177ELF"; }

} // namespace Core
