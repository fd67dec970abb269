#include "cli/accounts.h"

#include "files/foreign_file.h"

#include <QList>

#include <pwd.h>

namespace Cli {

namespace {

std::optional<int> numberIn(const QByteArray &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= 0 ? std::optional<int>(number) : std::nullopt;
}

} // namespace

std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name)
{
    const QList<QByteArray> lines = passwd.split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(':');
        if (fields.size() > 2 && fields.constFirst() == name.toUtf8())
            return numberIn(fields.at(2));
    }
    return {};
}

std::optional<int> userNumber(const QString &user, const QString &root)
{
    if (const std::optional<int> number = numberIn(user.toUtf8()))
        return number;
    if (!root.isEmpty())
        return userNumberIn(readForeignFile(root + QStringLiteral("/etc/passwd")).text, user);
    // The tool has one thread.
    const passwd *account = getpwnam(user.toUtf8().constData()); // NOLINT(concurrency-mt-unsafe)
    if (account == nullptr)
        return {};
    return static_cast<int>(account->pw_uid);
}

} // namespace Cli
