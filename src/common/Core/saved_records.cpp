#include "common/Core/saved_records.h"

#include "common/Core/application_info_p.h"
#include "common/Core/text_pool.h"
#include "common/atomic_file.h"
#include "common/places.h"
#include "common/sealed_bytes.h"
#include "files/foreign_file.h"

#include <QDebug>

#include <utility>

namespace Core {

namespace {

constexpr int largestFile = 16 << 20;
constexpr int largestContent = largestFile - 64;

void write(ByteWriter &bytes, const FileState &state)
{
    for (const qint64 value : {static_cast<qint64>(state.exists), static_cast<qint64>(state.device),
                               static_cast<qint64>(state.inode), state.size, state.modified,
                               state.changed, static_cast<qint64>(state.links)})
        bytes.number(value);
}

FileState readState(ByteReader &bytes)
{
    FileState state;
    state.exists = bytes.number() != 0;
    state.device = static_cast<quint64>(bytes.number());
    state.inode = static_cast<quint64>(bytes.number());
    state.size = bytes.number();
    state.modified = bytes.number();
    state.changed = bytes.number();
    state.links = static_cast<quint64>(bytes.number());
    return state;
}

void write(ByteWriter &bytes, const ApplicationInfo::LaunchInfo &launch)
{
    for (const QString *text : {&launch.exec, &launch.execDBus, &launch.service, &launch.objectPath,
                                &launch.method, &launch.fixedArgs, &launch.dataDirectory})
        bytes.text(*text);
    for (const bool value :
         {launch.sandboxed, launch.singleInstance, launch.singleCover, launch.customMode})
        bytes.number(value ? 1 : 0);
}

ApplicationInfo::LaunchInfo readLaunch(ByteReader &bytes)
{
    ApplicationInfo::LaunchInfo launch;
    for (QString *text : {&launch.exec, &launch.execDBus, &launch.service, &launch.objectPath,
                          &launch.method, &launch.fixedArgs, &launch.dataDirectory})
        *text = bytes.text();
    for (bool *value :
         {&launch.sandboxed, &launch.singleInstance, &launch.singleCover, &launch.customMode})
        *value = bytes.number() != 0;
    return launch;
}

void write(ByteWriter &bytes, const QMap<QString, ApplicationInfo::TaskInfo> &tasks)
{
    bytes.number(tasks.size());
    for (auto task = tasks.begin(); task != tasks.end(); ++task) {
        for (const QString *text : {&task.key(), &task->type, &task->exec, &task->group})
            bytes.text(*text);
        bytes.list(task->permissions);
        bytes.list(task->conditions);
    }
}

void readTasks(ByteReader &bytes, TextPool &texts, ApplicationInfoPrivate &record)
{
    const int count = bytes.count();
    for (int i = 0; i < count && bytes.isOk(); ++i) {
        const QString name = bytes.text();
        ApplicationInfo::TaskInfo task;
        task.taskId = ApplicationTaskId(record.applicationId, name);
        for (QString *text : {&task.type, &task.exec, &task.group})
            *text = bytes.text();
        task.permissions = bytes.list();
        task.conditions = bytes.list();
        texts.share(task);
        task.file = record.desktopFilePath;
        record.tasks.insert(record.tasks.constEnd(), name, task);
    }
}

void write(ByteWriter &bytes, const QMap<QString, ApplicationInfo::IntentInfo> &intents)
{
    bytes.number(intents.size());
    for (auto intent = intents.begin(); intent != intents.end(); ++intent) {
        bytes.text(intent.key());
        bytes.text(intent->qualifier);
        bytes.list(intent->items);
    }
}

QMap<QString, ApplicationInfo::IntentInfo> readIntents(ByteReader &bytes)
{
    QMap<QString, ApplicationInfo::IntentInfo> intents;
    const int count = bytes.count();
    for (int i = 0; i < count && bytes.isOk(); ++i) {
        const QString name = bytes.text();
        const QString qualifier = bytes.text();
        intents.insert(intents.constEnd(), name, {qualifier, bytes.list()});
    }
    return intents;
}

void write(ByteWriter &bytes, const SavedRecord &record)
{
    const ApplicationInfo &info = record.info;
    write(bytes, record.state);
    write(bytes, info.packageStates().manifest);
    write(bytes, info.packageStates().certificate);
    bytes.text(info.desktopFilePath());
    bytes.text(info.applicationId().organisation().toString());
    bytes.text(info.applicationId().name().toString());
    write(bytes, info.intents());
    write(bytes, info.tasks());
    write(bytes, info.launchInfo());
    bytes.text(info.name());
    bytes.text(info.icon());
    bytes.list(info.mimeTypes());
    bytes.number(info.supportsMimeParents() ? 1 : 0);
    bytes.number(info.manifest().isValid() ? 1 : 0);
    bytes.number(info.manifest().keepMediaActiveInBackground() ? 1 : 0);
    bytes.text(info.certificateId());
}

SavedRecord readRecord(ByteReader &bytes, TextPool &texts)
{
    const FileState state = readState(bytes);
    const auto record = QSharedPointer<ApplicationInfoPrivate>::create();
    record->packageStates.manifest = readState(bytes);
    record->packageStates.certificate = readState(bytes);
    record->desktopFilePath = bytes.text();
    const QString organisation = bytes.text();
    record->applicationId = ApplicationId(organisation, bytes.text());
    record->intents = readIntents(bytes);
    readTasks(bytes, texts, *record);
    record->launch = readLaunch(bytes);
    record->name = bytes.text();
    record->icon = bytes.text();
    record->mimeTypes = bytes.list();
    record->supportsMimeParents = bytes.number() != 0;
    const bool hasManifest = bytes.number() != 0;
    const bool keepsMedia = bytes.number() != 0;
    if (hasManifest)
        record->manifest = Manifest(keepsMedia);
    record->certificateId = bytes.text();
    record->valid = bytes.isOk();
    return {ApplicationInfo(record), state};
}

// The start of the file: format, program file and languages. Records are used only if all of these
// are the same, because another build may read entries differently. Empty when nothing can be
// saved.
QByteArray header(const Places &places)
{
    const FileState program = FileState::of("/proc/self/exe");
    if (places.recordsFile.isEmpty() || !program.exists)
        return {};
    ByteWriter bytes;
    bytes.text(QStringLiteral("orvane application records 1"));
    write(bytes, program);
    bytes.text(places.languages);
    return bytes.bytes();
}

} // namespace

void saveRecords(const Places &places, const QVector<SavedRecord> &records)
{
    QByteArray content = header(places);
    if (content.isEmpty())
        return;
    for (const SavedRecord &record : records) {
        ByteWriter bytes;
        write(bytes, record);
        if (content.size() + bytes.bytes().size() < largestContent)
            content += bytes.bytes();
    }
    const FileWrite result =
        writeFileAtomically(places.recordsFile, sealed(content), FileReaders::Nobody);
    if (result != FileWrite::Written)
        qWarning() << "Could not save the records of applications in" << places.recordsFile;
}

QVector<SavedRecord> loadRecords(const Places &places)
{
    const QByteArray expected = header(places);
    if (expected.isEmpty())
        return {};
    ForeignFile file = readForeignFile(places.recordsFile, largestFile);
    const std::optional<QByteArray> content = unsealed(std::move(file.text));
    if (!content || !content->startsWith(expected))
        return {};
    const QByteArray rest = QByteArray::fromRawData(content->constData() + expected.size(),
                                                    content->size() - expected.size());
    ByteReader bytes(rest);
    TextPool texts;
    QVector<SavedRecord> records;
    while (bytes.isOk() && !bytes.isAtEnd())
        records.append(readRecord(bytes, texts));
    return bytes.isOk() ? records : QVector<SavedRecord>();
}

} // namespace Core
