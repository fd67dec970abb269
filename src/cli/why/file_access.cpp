#include "cli/why/file_access.h"

#include "cli/cures.h"

#include <QFile>
#include <QFileInfo>

#include <grp.h>
#include <sys/stat.h>

namespace Cli {

namespace {

// Whether a user has a permission on a file, given as the bit for others. Root may read everything,
// and execute what anyone may.
bool may(const struct stat &file, mode_t ofOthers, const Identity &who)
{
    const mode_t ofGroup = ofOthers << 3U;
    const mode_t ofOwner = ofOthers << 6U;
    if (who.uid == 0)
        return ofOthers == S_IROTH || (file.st_mode & (ofOwner | ofGroup | ofOthers)) != 0;
    if (static_cast<int>(file.st_uid) == who.uid)
        return (file.st_mode & ofOwner) != 0;
    if (who.groups.contains(static_cast<int>(file.st_gid)))
        return (file.st_mode & ofGroup) != 0;
    return (file.st_mode & ofOthers) != 0;
}

bool mayPass(const QString &path, mode_t ofOthers, const Identity &who)
{
    struct stat file = {};
    return stat(QFile::encodeName(path).constData(), &file) == 0 && may(file, ofOthers, who);
}

// The groups are those in this system's user database.
Identity identityOf(const Account &account)
{
    Identity identity{account.uid, {}};
    int count = 64;
    QVector<gid_t> groups(count);
    const QByteArray name = account.name.toUtf8();
    while (getgrouplist(name.constData(), static_cast<gid_t>(account.gid), groups.data(), &count)
           < 0)
        groups.resize(count);
    for (int at = 0; at < count; ++at)
        identity.groups.append(static_cast<int>(groups.at(at)));
    return identity;
}

} // namespace

std::optional<Account> accountOf(const Question &question)
{
    if (question.user.isEmpty())
        return {};
    return accountOf(question.user, question.places.programRoot);
}

Identity runnerOf(const Question &question)
{
    const std::optional<Account> account = accountOf(question);
    return account && question.isLive ? identityOf(*account) : Identity();
}

QString obstacleTo(const QString &path, Access access, const Identity &who, const QString &root)
{
    for (auto end = path.indexOf(QLatin1Char('/'), root.size() + 1); end > 0;
         end = path.indexOf(QLatin1Char('/'), end + 1)) {
        if (!mayPass(path.left(end), S_IXOTH, who))
            return path.left(end);
    }
    return mayPass(path, access == Access::Read ? S_IROTH : S_IXOTH, who) ? QString() : path;
}

QString refusalOf(const QString &path, Access access, const QString &obstacle, const QString &user)
{
    const QString verb =
        access == Access::Read ? QStringLiteral("read") : QStringLiteral("execute");
    const QString message = user.isEmpty()
        ? QStringLiteral("not every user may %1 %2").arg(verb, path)
        : QStringLiteral("%1 may not %2 %3").arg(user, verb, path);
    return obstacle == path ? message : message + QStringLiteral(", because of ") + obstacle;
}

QString opening(const QString &obstacle, Access access)
{
    const bool isRead = access == Access::Read && QFileInfo(obstacle).isFile();
    return commandOf({QStringLiteral("chmod"),
                      isRead ? QStringLiteral("a+r") : QStringLiteral("a+rx"), obstacle});
}

} // namespace Cli
