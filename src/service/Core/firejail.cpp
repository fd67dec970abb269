#include "service/Core/firejail.h"
#include "service/Core/firejail_p.h"

#include "common/Core/rules.h"
#include "files/path_below.h"
#include "service/Core/program_file.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace Core {

namespace {

// The launcher replaces ${HOME} by the home of the user that the program runs as.
const char *const homeCache = "${HOME}/.cache/";
const char *const homeConfig = "${HOME}/.config/";
const char *const homeData = "${HOME}/.local/share/";
const char *const systemCommon = "/usr/share/common/";
const char *const shared = "/srv/shared/";

enum class Directory { Existing, Create };

void appendWhitelist(SandboxLine &argv, const QByteArray &path,
                     Directory directory = Directory::Existing)
{
    if (directory == Directory::Create)
        argv << "--mkdir=" + path;
    argv << "--whitelist=" + path;
}

void appendBind(SandboxLine &argv, const QByteArray &source, const QByteArray &target,
                Directory directory = Directory::Existing)
{
    if (directory == Directory::Create)
        argv << "--mkdir=" + source << "--mkdir=" + target << "--whitelist=" + source;
    argv << "--bind=" + source + "," + target;
}

// Whitelisting and then blacklisting an empty directory closes the whole tree that contains it,
// unless something else in that tree is whitelisted.
void appendClosedSharedTrees(SandboxLine &argv)
{
    argv.from(SandboxWord::Fixed);
    for (const char *tree : {shared, systemCommon}) {
        const QByteArray empty = QByteArray(tree) + "empty";
        argv << "--whitelist=" + empty << "--blacklist=" + empty;
    }
}

QByteArray fileNameOf(const QByteArray &path) { return path.mid(path.lastIndexOf('/') + 1); }

QByteArrayList programNames(const QByteArray &program, const QByteArray &secondary)
{
    QByteArrayList names{fileNameOf(program)};
    if (!secondary.isEmpty() && !names.contains(fileNameOf(secondary)))
        names << fileNameOf(secondary);
    return names;
}

QByteArray joinNumbers(const QVector<qint32> &numbers)
{
    QByteArrayList texts;
    for (const qint32 number : numbers)
        texts << QByteArray::number(number);
    return texts.join(',');
}

bool isDirectlyIn(const QByteArray &directory, const QByteArray &path)
{
    return path.startsWith(directory) && path.indexOf('/', directory.size()) < 0;
}

// systemd would split such a name, or change it.
bool isPlainInAUnit(const QString &permission)
{
    return std::none_of(permission.cbegin(), permission.cend(), [](QChar character) {
        return QLatin1String(" \"'\\$%").contains(character);
    });
}

Error invalid(const QString &message) { return {Error::InvalidArgs, message}; }

} // namespace

QByteArrayList textsOf(const QVector<SandboxWord> &words)
{
    QByteArrayList texts;
    for (const SandboxWord &word : words)
        texts << word.text;
    return texts;
}

QString permissionPath(const QString &name, const QStringList &directories, const QString &root)
{
    for (const QString &directory : directories) {
        const QString path = directory + name + QLatin1String(".permission");
        if (QFile::exists(pathBelow(root, path)))
            return path;
    }
    return {};
}

QVector<SandboxWord> permissionWords(const QStringList &permissions, const Places &places,
                                     Findings &findings)
{
    QVector<SandboxWord> words;
    for (const QString &permission : permissions) {
        const QString path =
            permissionPath(permission, places.permissionFolders, places.programRoot);
        if (path.isEmpty() || !isPlainInAUnit(permission))
            ORVANE_WARN(findings, findingOf(Rules::unknownPermission, {{}, {}, permission}))
                << "Unknown permission" << permission;
        else
            words.append({"--profile=" + path.toUtf8(), SandboxWord::Permission, permission,
                          places.programRoot + path});
    }
    return words;
}

Places FirejailPrivate::placesInUse() const { return places ? *places : Places::ofProcess(); }

QString FirejailPrivate::profilePath(const QString &name) const
{
    const QString path = rootDirectory + QLatin1String("/etc/sailjail/permissions/") + name
        + QLatin1String(".profile");
    return QFile::exists(pathBelow(placesInUse().programRoot, path)) ? path : QString();
}

Error FirejailPrivate::checkExecutable(const QByteArray &program) const
{
    const QString name = QString::fromUtf8(program);
    if (!program.startsWith('/'))
        return invalid(name + QLatin1String(" is not an absolute path"));
    const Places where = placesInUse();
    // In component tests the programs need not exist on the machine.
    if (!where.programsAreExamined)
        return {};
    if (legacy && !isDirectlyIn("/usr/bin/", program))
        return invalid(QStringLiteral("Legacy apps must be in: /usr/bin"));
    const QString path = pathBelow(where.programRoot, rootDirectory + name);
    if (!isExecutable(path))
        return invalid(name + QLatin1String(" is not executable"));
    if (!isElf(path))
        return invalid(name + QLatin1String(" is not an ELF binary"));
    return {};
}

void FirejailPrivate::appendLauncher(SandboxLine &argv, const QByteArray &program) const
{
    argv.from(SandboxWord::Fixed) << rootDirectory.toUtf8() + "/usr/bin/firejail"
                                  << (debug ? "--debug" : "--quiet");
    argv.from(SandboxWord::Program);
    const QByteArrayList names = programNames(program, secondaryExecutable);
    for (const QByteArray &name : names)
        argv << "--private-bin=" + name;
    argv.from(SandboxWord::Setting);
    for (const QString &option : extraOptions)
        argv << option.toUtf8();
}

void FirejailPrivate::appendIdentity(SandboxLine &argv) const
{
    if (!organizationName.isEmpty())
        argv.from(SandboxWord::Organization) << "--template=OrganizationName:" + organizationName;
    if (!applicationName.isEmpty())
        argv.from(SandboxWord::Application) << "--template=ApplicationName:" + applicationName;
    if (!keepFds.isEmpty())
        argv.from(SandboxWord::Setting) << "--keep-fd=" + joinNumbers(keepFds);
}

void FirejailPrivate::appendReadableData(SandboxLine &argv) const
{
    if (!dataName.isEmpty())
        appendWhitelist(argv.from(SandboxWord::Application), "/usr/share/" + dataName);
    if (!desktopFile.isEmpty() && !desktopFile.startsWith(QLatin1String("/etc/")))
        appendWhitelist(argv.from(SandboxWord::Setting), desktopFile.toUtf8());
}

void FirejailPrivate::appendLegacyHome(SandboxLine &argv) const
{
    const QByteArray base = QFileInfo(desktopFile).completeBaseName().toUtf8();
    if (base.isEmpty() || homeless)
        return;
    argv.from(SandboxWord::Setting);
    const Directory directory = legacy ? Directory::Create : Directory::Existing;
    for (const char *prefix : {homeData, homeConfig, homeCache})
        appendWhitelist(argv, prefix + base, directory);
}

void FirejailPrivate::appendApplication(SandboxLine &argv) const
{
    const QByteArray directory = organizationName + "/" + applicationName;
    const QByteArray busNames = organizationName + "." + applicationName + ".*";
    argv.from(SandboxWord::Application);
    if (!homeless) {
        // The order differs from that of the legacy directories; it must stay as it is.
        for (const char *prefix : {homeCache, homeData, homeConfig})
            appendWhitelist(argv, prefix + directory, Directory::Create);
    }
    if (noUserBus)
        argv.from(SandboxWord::Fixed) << "--dbus-user=none";
    else
        argv << "--dbus-user.own=" + busNames;
    appendWhitelist(argv.from(SandboxWord::Application), shared + directory);
    argv << "--dbus-system.talk=" + busNames;
}

void FirejailPrivate::appendSharingGroup(SandboxLine &argv) const
{
    argv.from(SandboxWord::Setting);
    const QByteArray group = organizationName + "/" + sharingName;
    const QByteArray groupCommon = group + "/common";
    const QByteArray common = organizationName + "/common";
    if (!homeless) {
        for (const char *prefix : {homeCache, homeConfig, homeData})
            appendBind(argv, prefix + groupCommon, prefix + common, Directory::Create);
    }
    appendBind(argv, systemCommon + group, systemCommon + organizationName);
    appendBind(argv, shared + groupCommon, shared + common);
    appendWhitelist(argv, systemCommon + group);
    appendWhitelist(argv, shared + groupCommon);
    appendWhitelist(argv, shared + common);
}

void FirejailPrivate::appendOrganization(SandboxLine &argv) const
{
    argv.from(SandboxWord::Organization);
    const QByteArray common = organizationName + "/common";
    if (!homeless) {
        for (const char *prefix : {homeCache, homeConfig, homeData})
            appendWhitelist(argv, prefix + common, Directory::Create);
    }
    appendWhitelist(argv, systemCommon + organizationName);
    appendWhitelist(argv, shared + common);
}

Error FirejailPrivate::appendProfiles(SandboxLine &argv) const
{
    argv.from(SandboxWord::Setting);
    for (const QString &profile : profiles) {
        const QString path = profile.startsWith(QLatin1Char('/')) ? profile : profilePath(profile);
        if (path.isEmpty())
            return invalid(QLatin1String("Unknown profile ") + profile);
        argv << "--profile=" + path.toUtf8();
    }
    return {};
}

QPair<QVector<SandboxWord>, Error> FirejailPrivate::computeWords(const QByteArrayList &arguments,
                                                                 const QStringList &permissions,
                                                                 Findings &findings) const
{
    if (arguments.isEmpty())
        return {{}, invalid(QStringLiteral("Empty argument list"))};
    if (const Error error = checkExecutable(arguments.first()))
        return {{}, error};
    SandboxLine argv;
    appendLauncher(argv, arguments.first());
    appendIdentity(argv);
    appendReadableData(argv);
    appendLegacyHome(argv);
    if (!organizationName.isEmpty() && !applicationName.isEmpty())
        appendApplication(argv);
    if (!organizationName.isEmpty() && !sharingName.isEmpty())
        appendSharingGroup(argv);
    else if (!organizationName.isEmpty())
        appendOrganization(argv);
    appendClosedSharedTrees(argv);
    if (!ownedUserBusName.isEmpty())
        argv.from(SandboxWord::Setting) << "--dbus-user.own=" + ownedUserBusName;
    if (const Error error = appendProfiles(argv))
        return {{}, error};
    argv << permissionWords(permissions, placesInUse(), findings);
    argv.from(SandboxWord::Fixed) << "--";
    argv.from(SandboxWord::Argument);
    for (const QByteArray &argument : arguments)
        argv << argument;
    return {argv.words(), {}};
}

QPair<QByteArrayList, Error> FirejailPrivate::computeArgv(const QByteArrayList &arguments,
                                                          const QStringList &permissions) const
{
    const auto [words, error] = computeWords(arguments, permissions, LoggedFindings::instance());
    return {textsOf(words), error};
}

Firejail::Firejail()
    : d(new FirejailPrivate)
{
}

Firejail::~Firejail() = default;

void Firejail::setRootDirectory(const QString &directory) { d->rootDirectory = directory; }

void Firejail::setProfiles(const QStringList &profiles) { d->profiles = profiles; }

void Firejail::setOrganizationName(const QString &name) { d->organizationName = name.toUtf8(); }

void Firejail::setApplicationName(const QString &name) { d->applicationName = name.toUtf8(); }

void Firejail::setSharingName(const QString &name) { d->sharingName = name.toUtf8(); }

void Firejail::setSecondaryExecutable(const QString &program)
{
    d->secondaryExecutable = program.toUtf8();
}

void Firejail::setDesktopFile(const QString &path) { d->desktopFile = path; }

void Firejail::setExtraOptions(const QStringList &options) { d->extraOptions = options; }

void Firejail::setKeepFds(const QVector<qint32> &fds) { d->keepFds = fds; }

void Firejail::setDataName(const QString &name) { d->dataName = name.toUtf8(); }

void Firejail::setOwnedUserBusName(const QString &name) { d->ownedUserBusName = name.toUtf8(); }

void Firejail::setNoUserBus(bool noUserBus) { d->noUserBus = noUserBus; }

void Firejail::setLegacy(bool legacy) { d->legacy = legacy; }

void Firejail::setDebug(bool debug) { d->debug = debug; }

void Firejail::setHomeless(bool homeless) { d->homeless = homeless; }

void Firejail::setPlaces(const Places &places) { d->places = places; }

QPair<QByteArrayList, Error> Firejail::computeArgv(const QByteArrayList &arguments,
                                                   const QStringList &permissions) const
{
    return d->computeArgv(arguments, permissions);
}

QPair<QVector<SandboxWord>, Error> Firejail::computeWords(const QByteArrayList &arguments,
                                                          const QStringList &permissions,
                                                          Findings &findings) const
{
    return d->computeWords(arguments, permissions, findings);
}

} // namespace Core
