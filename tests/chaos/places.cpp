#include "chaos/attempt.h"
#include "chaos/campaign.h"
#include "support/literals.h"

#include <algorithm>
#include <unistd.h>

namespace Chaos {

namespace {

struct Place
{
    QString name;
    QStringList wrapper;
};

Place inShell(const char *name, const char *line)
{
    return {QString::fromLatin1(name), {u"sh"_s, u"-c"_s, QString::fromLatin1(line), u"sh"_s}};
}

// What a process can be started with. In none of these does an operation go differently.
QVector<Place> places()
{
    QVector<Place> places{inShell("plain locale", "LC_ALL=C exec \"$@\""),
                          inShell("Turkish locale", "LC_ALL=tr_TR.UTF-8 exec \"$@\""),
                          inShell("locale that is none", "LC_ALL=no/such LANGUAGE=:: exec \"$@\""),
                          inShell("open umask", "umask 0; exec \"$@\""),
                          inShell("closed umask", "umask 077; exec \"$@\""),
                          inShell("no standard input", "exec \"$@\" <&-"),
                          inShell("no standard output", "exec \"$@\" >&-"),
                          inShell("no standard error", "exec \"$@\" 2>&-"),
                          inShell("neither input nor output", "exec \"$@\" <&- >&-"),
                          inShell("neither input nor error", "exec \"$@\" <&- 2>&-"),
                          inShell("neither output nor error", "exec \"$@\" >&- 2>&-"),
                          inShell("no standard descriptors", "exec \"$@\" <&- >&- 2>&-"),
                          inShell("log on a full disk", "exec \"$@\" >/dev/full 2>&1"),
                          inShell("folder that is gone",
                                  "d=$(mktemp -d) && cd \"$d\" && rmdir \"$d\" && exec \"$@\"")};
    // Others than root could not use the folders that they make.
    if (::geteuid() == 0)
        places.append(inShell("umask of everything", "umask 0777; exec \"$@\""));
    return places;
}

QStringList faultsIn(Scene &scene, const Operation &operation, const Reference &reference)
{
    const std::optional<Attempt> attempt = Chaos::attempt(scene, operation, Hardship());
    if (!attempt)
        return {u"it cannot begin"_s};
    QStringList broken = differences(settled(attempt->left), settled(reference.after));
    if (!attempt->outcome.succeeded)
        broken.prepend(u"it fails"_s);
    return broken + faultsOf(scene, operation, reference, *attempt, Leftovers::Go);
}

} // namespace

void runPlaces(Campaign &campaign)
{
    const QVector<Operation> all = operations();
    QVector<Place> drawn = places();
    for (int number = 0; number < all.size(); ++number) {
        if (!campaign.does(number, all.at(number).name))
            continue;
        Scene scene;
        const Reference reference = referenceOf(scene, all.at(number));
        std::shuffle(drawn.begin(), drawn.end(), campaign.random);
        for (const Place &place : drawn.mid(0, campaign.isSample ? 1 : -1)) {
            scene.surround(place.wrapper);
            campaign.tally.count(all.at(number).name, place.name, true,
                                 faultsIn(scene, all.at(number), reference),
                                 u"--only \"%1\" places"_s.arg(all.at(number).name));
        }
    }
}

} // namespace Chaos
