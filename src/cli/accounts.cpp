#include "cli/accounts.h"

#include "files/foreign_file.h"
#include "files/path_below.h"

#include <QList>

#include <pwd.h>

namespace Cli {

namespace {

// Of a line of passwd.
constexpr int nameField = 0;
constexpr int numberField = 2;
constexpr int homeField = 5;

std::optional<int> numberIn(const QByteArray &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= 0 ? std::optional<int>(number) : std::nullopt;
}

// The fields of the first line that has this text in one of them; none without such a line.
QList<QByteArray> lineIn(const QByteArray &passwd, int field, const QString &text)
{
    const QList<QByteArray> lines = passwd.split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(':');
        if (fields.size() > field && fields.at(field) == text.toUtf8())
            return fields;
    }
    return {};
}

QByteArray passwdOf(const QString &root)
{
    return readForeignFile(pathBelow(root, QStringLiteral("/etc/passwd"))).text;
}

} // namespace

std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name)
{
    return numberIn(lineIn(passwd, nameField, name).value(numberField));
}

QString userHomeIn(const QByteArray &passwd, const QString &user)
{
    const bool isNumber = numberIn(user.toUtf8()).has_value();
    return QString::fromUtf8(
        lineIn(passwd, isNumber ? numberField : nameField, user).value(homeField));
}

std::optional<int> userNumber(const QString &user, const QString &root)
{
    if (const std::optional<int> number = numberIn(user.toUtf8()))
        return number;
    if (!root.isEmpty())
        return userNumberIn(passwdOf(root), user);
    // The tool has one thread.
    const passwd *account = getpwnam(user.toUtf8().constData()); // NOLINT(concurrency-mt-unsafe)
    if (account == nullptr)
        return {};
    return static_cast<int>(account->pw_uid);
}

QString userHome(const QString &user, const QString &root)
{
    if (!root.isEmpty())
        return userHomeIn(passwdOf(root), user);
    const std::optional<int> number = userNumber(user, root);
    if (!number)
        return {};
    const passwd *account = getpwuid(static_cast<uid_t>(*number)); // NOLINT(concurrency-mt-unsafe)
    return account == nullptr ? QString() : QString::fromUtf8(account->pw_dir);
}

} // namespace Cli
