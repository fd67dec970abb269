#include "support/entries.h"

namespace Bench {

namespace {

QByteArray translations(const QByteArray &name, int languages)
{
    QByteArray text;
    for (int number = 0; number < languages; ++number) {
        const char letters[] = {char('a' + number / 26), char('a' + number % 26)};
        const QByteArray language(letters, sizeof letters);
        text += "Name[" + language + "]=" + name + " (" + language + ")\nComment[" + language
            + "]=Keeps what belongs to " + name + ", in " + language + "\n";
    }
    return text;
}

QByteArray task(const QByteArray &application, const QByteArray &name, const QByteArray &type)
{
    return "\n[X-Task " + name + "]\nType=" + type + "\nExec=/usr/libexec/" + application.toLower()
        + "/worker --" + name + "\nPermissions=Internet\nConditions=Charging\n";
}

} // namespace

QByteArray entryText(int number, const QString &type, const EntrySize &size)
{
    const QByteArray name = "App" + QByteArray::number(number);
    // The program exists, because GIO leaves out applications without their program.
    QByteArray text = "[Desktop Entry]\nType=Application\nVersion=1.1\nName=" + name
        + "\nGenericName=Benchmark\nComment=Keeps what belongs to " + name + "\nIcon=icon-launcher-"
        + name + "\nExec=/usr/bin/true " + name
        + "\nTerminal=false\nStartupNotify=true\nCategories=Utility;Office;\n"
          "MimeType=text/plain;text/x-vcard;application/x-"
        + name.toLower() + ";\nKeywords=keep;store;remember;\n" + translations(name, size.languages)
        + "\n[X-Application]\nOrganizationName=com.example\nApplicationName=" + name
        + "\nPermissions=Internet;Audio\n" + task(name, "sync", type.toUtf8());
    for (int more = 1; more <= size.moreTasks; ++more)
        text += task(name, "more" + QByteArray::number(more), "Other");
    return text;
}

QString entryPath(int number)
{
    return QStringLiteral("/usr/share/applications/com.example.App%1.desktop").arg(number);
}

void writeEntries(const TempRoot &root, int count, const QString &type, int first,
                  const EntrySize &size)
{
    for (int number = first; number < first + count; ++number)
        root.write(entryPath(number), entryText(number, type, size));
}

QString taskId(int number) { return QStringLiteral("com.example.App%1.task_sync").arg(number); }

QString unitName(int number) { return QStringLiteral("ov_task.%1.service").arg(taskId(number)); }

} // namespace Bench
