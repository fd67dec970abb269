#include "support/temp_root.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

TempRoot::TempRoot()
{
    for (const char *directory : {"/etc/systemd/system", "/usr/share/applications",
                                  "/usr/share/orvane/task-types", "/home"})
        QDir().mkpath(path(QString::fromLatin1(directory)));
}

QString TempRoot::path(const QString &below) const { return m_directory.path() + below; }

void TempRoot::write(const QString &below, const QByteArray &text) const
{
    QDir().mkpath(QFileInfo(path(below)).path());
    QFile file(path(below));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
}

QByteArray TempRoot::read(const QString &below) const
{
    QFile file(path(below));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool TempRoot::exists(const QString &below) const { return QFileInfo::exists(path(below)); }

void TempRoot::remove(const QString &below) const { QFile::remove(path(below)); }

void TempRoot::writeApplication(const QString &application, const QByteArray &groups) const
{
    write(u"/usr/share/applications/%1.desktop"_s.arg(application),
          "[Desktop Entry]\nType=Application\nName=App\nExec=/usr/bin/app\n"
          "[X-Application]\nOrganizationName=com.example\nApplicationName="
              + application.toUtf8() + "\n" + groups);
}

void TempRoot::serveType(const QString &type) const
{
    write(u"/usr/share/orvane/task-types/%1.conf"_s.arg(type),
          "[TaskType]\nWorksInSession=false\n");
}

void TempRoot::startAtBoot(const QString &taskId) const
{
    const QString unit = unitFile(taskId);
    write(unit, "[Service]\n");
    const QString wants = path(u"/etc/systemd/system/multi-user.target.wants/"_s);
    QDir().mkpath(wants);
    if (!QFile::link(unit, wants + QFileInfo(unit).fileName()))
        qFatal("cannot link %s", qPrintable(unit));
}

QString TempRoot::unitFile(const QString &taskId) const
{
    return u"/etc/systemd/system/ov_task.%1.service"_s.arg(taskId);
}

QString TempRoot::policyFile(const QString &taskId) const
{
    return u"/etc/dbus-1/system.d/%1.conf"_s.arg(taskId);
}

QStringList TempRoot::environment() const
{
    return {u"ORVANE_ROOTFS="_s + path(), u"HOME="_s + path(u"/home"_s),
            u"XDG_DATA_HOME="_s + path(u"/home/data"_s),
            u"XDG_CONFIG_HOME="_s + path(u"/home/config"_s),
            u"XDG_DATA_DIRS="_s + path(u"/usr/share"_s)};
}
