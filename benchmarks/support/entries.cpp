#include "support/entries.h"

namespace Bench {

QByteArray entryText(int number, const QString &type)
{
    const QByteArray name = "App" + QByteArray::number(number);
    // The program is there: GIO leaves out applications without one.
    QByteArray text = "[Desktop Entry]\nType=Application\nVersion=1.1\nName=" + name
        + "\nGenericName=Benchmark\nComment=Keeps what belongs to " + name + "\nIcon=icon-launcher-"
        + name + "\nExec=/usr/bin/true " + name
        + "\nTerminal=false\nStartupNotify=true\nCategories=Utility;Office;\n"
          "MimeType=text/plain;text/x-vcard;application/x-"
        + name.toLower() + ";\nKeywords=keep;store;remember;\n";
    for (const char *language : {"da", "de", "es", "fi", "fr", "it", "nb", "pl", "ru", "sv"})
        text += QByteArray("Name[") + language + "]=" + name + " (" + language + ")\nComment["
            + language + "]=Keeps what belongs to " + name + ", in " + language + "\n";
    return text + "\n[X-Application]\nOrganizationName=com.example\nApplicationName=" + name
        + "\nPermissions=Internet;Audio\n\n[X-Task sync]\nType=" + type.toUtf8()
        + "\nExec=/usr/libexec/" + name.toLower()
        + "/worker --sync\nPermissions=Internet\nConditions=Charging\n";
}

QString entryPath(int number)
{
    return QStringLiteral("/usr/share/applications/com.example.App%1.desktop").arg(number);
}

void writeEntries(const TempRoot &root, int count, const QString &type, int first)
{
    for (int number = first; number < first + count; ++number)
        root.write(entryPath(number), entryText(number, type));
}

QString taskId(int number) { return QStringLiteral("com.example.App%1.task_sync").arg(number); }

QString unitName(int number) { return QStringLiteral("ov_task.%1.service").arg(taskId(number)); }

} // namespace Bench
