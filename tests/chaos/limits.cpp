#include "chaos/attempt.h"
#include "chaos/campaign.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Chaos {

namespace {

constexpr int mostFreePages = 8;
constexpr int mostFreeFiles = 4;
constexpr int mostFreeDescriptors = 6;
// Fewer, and the program does not get as far as its first line.
constexpr int fewestAtStart = 12;
constexpr int mostAtStart = 24;

/// A small file system of the process's own, that can be filled. Needs root.
class SmallDisk
{
public:
    SmallDisk()
    {
        // A thread that is there already would stay outside. The bus library's would find no bus on
        // the disk, and everybody would wait for it.
        if (QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() != 1)
            qFatal("limits has to be the first part that a process runs");
        const QByteArray path = QFile::encodeName(m_folder.path());
        m_isThere = ::unshare(CLONE_NEWNS) == 0
            && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
            && ::mount("tmpfs", path.constData(), "tmpfs", 0, "size=4m,nr_inodes=1000") == 0;
        if (m_isThere)
            qputenv("TMPDIR", path);
    }
    ~SmallDisk()
    {
        if (m_isThere)
            ::umount2(QFile::encodeName(m_folder.path()).constData(), MNT_DETACH);
        qputenv("TMPDIR", m_before);
    }
    Q_DISABLE_COPY(SmallDisk)

    [[nodiscard]] bool isThere() const { return m_isThere; }
    void fill(int freePages) const
    {
        QFile filler(m_folder.filePath(u"filler"_s));
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return;
        const QByteArray page(4096, 'x');
        while (filler.write(page) == page.size()) { }
        (void)filler.resize(qMax<qint64>(0, filler.size() - qint64(freePages) * page.size()));
    }
    void fillWithFiles(int free) const
    {
        const QString name = m_folder.filePath(u"filler.%1"_s);
        int count = 0;
        for (int fd = 0; fd >= 0; ++count) {
            fd = ::open(QFile::encodeName(name.arg(count)).constData(), O_CREAT | O_WRONLY, 0600);
            ::close(fd);
        }
        for (int number = 0; number < free; ++number)
            QFile::remove(name.arg(number));
    }
    void makeRoom() const
    {
        QDir folder(m_folder.path());
        const QStringList names = folder.entryList({u"filler*"_s}, QDir::Files);
        for (const QString &name : names)
            folder.remove(name);
    }

private:
    const QByteArray m_before = qgetenv("TMPDIR");
    const QTemporaryDir m_folder;
    bool m_isThere = false;
};

// The soft limit of a process: so many more than it has open.
void limitDescriptors(Scene &scene, int free)
{
    const auto process = static_cast<pid_t>(scene.fixture.daemon.processId());
    int highest = 0;
    const QStringList open =
        QDir(u"/proc/%1/fd"_s.arg(process))
            .entryList(QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString &fd : open)
        highest = qMax(highest, fd.toInt());
    rlimit limit = {};
    ::prlimit(process, RLIMIT_NOFILE, nullptr, &limit);
    limit.rlim_cur = static_cast<rlim_t>(highest + 1 + free);
    ::prlimit(process, RLIMIT_NOFILE, &limit, nullptr);
}

void liftLimit(Scene &scene)
{
    rlimit limit = {};
    const auto process = static_cast<pid_t>(scene.fixture.daemon.processId());
    if (process == 0)
        return;
    ::prlimit(process, RLIMIT_NOFILE, nullptr, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::prlimit(process, RLIMIT_NOFILE, &limit, nullptr);
}

QVector<Hardship> descriptorLimits(const Operation &operation)
{
    QVector<Hardship> limits;
    const bool startsItself =
        operation.kind == Operation::StartUp || operation.kind == Operation::Program;
    for (int number = fewestAtStart; startsItself && number <= mostAtStart; ++number) {
        limits.append({u"few descriptors"_s,
                       [number](Scene &scene) {
                           scene.surround({u"prlimit"_s, u"--nofile=%1"_s.arg(number)});
                       },
                       [](Scene &scene) { scene.surround({}); }});
    }
    for (int free = 0; !startsItself && free <= mostFreeDescriptors; ++free) {
        limits.append({u"few descriptors"_s,
                       [free](Scene &scene) { limitDescriptors(scene, free); }, liftLimit});
    }
    return limits;
}

QVector<Hardship> fullDisks(const SmallDisk &disk)
{
    QVector<Hardship> full;
    for (int pages = 0; disk.isThere() && pages <= mostFreePages; ++pages)
        full.append({u"full disk"_s, [&disk, pages](Scene &) { disk.fill(pages); },
                     [&disk](Scene &) { disk.makeRoom(); }});
    for (int files = 0; disk.isThere() && files <= mostFreeFiles; ++files)
        full.append({u"disk without inodes"_s,
                     [&disk, files](Scene &) { disk.fillWithFiles(files); },
                     [&disk](Scene &) { disk.makeRoom(); }});
    return full;
}

void tryAll(Campaign &campaign, const Operation &operation, QVector<Hardship> hardships)
{
    Scene scene;
    const Reference reference = referenceOf(scene, operation);
    std::shuffle(hardships.begin(), hardships.end(), campaign.random);
    for (const Hardship &hardship : hardships.mid(0, campaign.isSample ? 2 : -1)) {
        const std::optional<Attempt> attempt = Chaos::attempt(scene, operation, hardship);
        const QStringList broken = attempt
            ? faultsOf(scene, operation, reference, *attempt, Leftovers::Go)
            : QStringList{u"it cannot begin"_s};
        campaign.tally.count(operation.name, hardship.name, true, broken,
                             u"--only \"%1\" limits"_s.arg(operation.name));
    }
}

} // namespace

void runLimits(Campaign &campaign)
{
    const SmallDisk disk;
    if (!disk.isThere())
        std::fputs("SKIP: a full disk needs root and a mount of its own\n", stderr);
    const QVector<Operation> all = operations();
    for (int number = 0; number < all.size(); ++number) {
        const Operation &operation = all.at(number);
        if (campaign.does(number, operation.name))
            tryAll(campaign, operation, descriptorLimits(operation) + fullDisks(disk));
    }
}

} // namespace Chaos
