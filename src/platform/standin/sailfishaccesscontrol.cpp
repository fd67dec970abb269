#include "sailfishaccesscontrol.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

namespace {

struct User
{
    std::string name;
    gid_t primaryGroup;
};

// Calls a reentrant look-up function of the user database, with a buffer that grows until the
// answer fits.
template <typename Entry, typename LookUp>
bool lookUp(Entry &entry, std::vector<char> &buffer, const LookUp &function)
{
    buffer.resize(1024);
    for (;;) {
        Entry *found = nullptr;
        const int error = function(&entry, buffer.data(), buffer.size(), &found);
        if (error != ERANGE)
            return error == 0 && found != nullptr;
        buffer.resize(buffer.size() * 2);
    }
}

std::optional<User> userOf(uid_t uid)
{
    passwd entry = {};
    std::vector<char> buffer;
    const auto byId = [uid](passwd *into, char *room, std::size_t size, passwd **found) {
        return getpwuid_r(uid, into, room, size, found);
    };
    if (!lookUp(entry, buffer, byId))
        return {};
    return User{entry.pw_name, entry.pw_gid};
}

std::optional<gid_t> groupOf(const char *name)
{
    group entry = {};
    std::vector<char> buffer;
    const auto byName = [name](group *into, char *room, std::size_t size, group **found) {
        return getgrnam_r(name, into, room, size, found);
    };
    if (!lookUp(entry, buffer, byName))
        return {};
    return entry.gr_gid;
}

} // namespace

bool sailfish_access_control_hasgroup(uid_t uid, const char *group)
{
    const std::optional<User> user = userOf(uid);
    const std::optional<gid_t> wanted = groupOf(group);
    if (!user || !wanted)
        return false;
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    while (getgrouplist(user->name.c_str(), user->primaryGroup, groups.data(), &count) < 0)
        groups.resize(static_cast<std::size_t>(count));
    return std::find(groups.begin(), groups.begin() + count, *wanted) != groups.begin() + count;
}
