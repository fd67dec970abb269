#include "cli/accounts.h"

#include "files/foreign_file.h"
#include "files/path_below.h"

#include <QList>

#include <algorithm>
#include <pwd.h>

namespace Cli {

namespace {

// The fields of a passwd line.
constexpr int nameField = 0;
constexpr int numberField = 2;
constexpr int groupField = 3;
constexpr int homeField = 5;

std::optional<int> numberIn(const QByteArray &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= 0 ? std::optional<int>(number) : std::nullopt;
}

QByteArray passwdOf(const QString &root)
{
    return readForeignFile(pathBelow(root, QStringLiteral("/etc/passwd"))).text;
}

Account accountOfLine(const QList<QByteArray> &fields, int uid)
{
    return {QString::fromUtf8(fields.at(nameField)), uid,
            numberIn(fields.value(groupField)).value_or(-1),
            QString::fromUtf8(fields.value(homeField))};
}

} // namespace

std::optional<Account> accountIn(const QByteArray &passwd, const QString &user)
{
    const std::optional<int> wanted = numberIn(user.toUtf8());
    const QList<QByteArray> lines = passwd.split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(':');
        const std::optional<int> number = numberIn(fields.value(numberField));
        if (fields.at(nameField) == user.toUtf8() || (wanted && number == wanted))
            return number ? std::optional(accountOfLine(fields, *number)) : std::nullopt;
    }
    return {};
}

std::optional<Account> accountOf(const QString &user, const QString &root)
{
    if (!root.isEmpty())
        return accountIn(passwdOf(root), user);
    const std::optional<int> number = numberIn(user.toUtf8());
    // Safe, because the tool has only one thread.
    const passwd *found = number
        ? getpwuid(static_cast<uid_t>(*number)) // NOLINT(concurrency-mt-unsafe)
        : getpwnam(user.toUtf8().constData()); // NOLINT(concurrency-mt-unsafe)
    if (found == nullptr)
        return {};
    return Account{QString::fromUtf8(found->pw_name), static_cast<int>(found->pw_uid),
                   static_cast<int>(found->pw_gid), QString::fromUtf8(found->pw_dir)};
}

QVector<Account> accountsOf(const QString &root)
{
    QVector<Account> accounts;
    const QList<QByteArray> lines = passwdOf(root).split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(':');
        if (const std::optional<int> number = numberIn(fields.value(numberField)))
            accounts.append(accountOfLine(fields, *number));
    }
    return accounts;
}

std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name)
{
    const std::optional<Account> account = accountIn(passwd, name);
    return account ? std::optional(account->uid) : std::nullopt;
}

std::optional<int> userNumber(const QString &user, const QString &root)
{
    if (const std::optional<int> number = numberIn(user.toUtf8()))
        return number;
    const std::optional<Account> account = accountOf(user, root);
    return account ? std::optional(account->uid) : std::nullopt;
}

bool mayBeUser(int number, const QString &root)
{
    if (root.isEmpty())
        return getpwuid(static_cast<uid_t>(number)) != nullptr; // NOLINT(concurrency-mt-unsafe)
    const QVector<Account> accounts = accountsOf(root);
    return accounts.isEmpty()
        || std::any_of(accounts.begin(), accounts.end(),
                       [number](const Account &account) { return account.uid == number; });
}

} // namespace Cli
