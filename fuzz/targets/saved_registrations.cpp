// Saved registrations of any bytes, in which "@BUS@" is replaced by the id of the bus:
// registrations that are restored have unique names, are restored once, and are the same when they
// are saved again.

#include "fuzz/support/application.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "system/DBus/registrations.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusServer>
#include <QFile>

#include <chrono>
#include <future>

using DBus::Registration;

namespace {

bool isSame(const Registration &a, const Registration &b)
{
    return a.client == b.client && a.path == b.path && a.taskType == b.taskType;
}

// A connection that knows the id of its other end, as a connection to a bus does. Connecting is
// done in another thread, because it waits for the other end, which the framework accepts in this
// one.
const QDBusConnection &bus()
{
    needApplication();
    static auto *const server = new QDBusServer(QStringLiteral("unix:tmpdir=/tmp"));
    static const auto *const connection = [] {
        auto pending = std::async(std::launch::async, [] {
            return QDBusConnection::connectToPeer(server->address(), QStringLiteral("bus"));
        });
        while (pending.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            QCoreApplication::processEvents();
        return new QDBusConnection(pending.get());
    }();
    return *connection;
}

// As the daemon writes it.
QByteArray busIdIn(const QString &file)
{
    FUZZ_PROPERTY(DBus::saveRegistrations(bus(), {{{}, {}, {}}}), "registrations can be kept");
    const QByteArray text = Scratch::read(file);
    const auto start = text.indexOf(": \"") + 3;
    return text.mid(start, text.indexOf('"', start) - start);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    qputenv("RUNTIME_DIRECTORY", scratch.places().root.toUtf8());
    const QString file = scratch.places().root + QStringLiteral("/registrations.json");
    static const QByteArray busId = busIdIn(file);
    QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    scratch.write(file, text.replace("@BUS@", busId));
    const QVector<Registration> restored = DBus::restoreRegistrations(bus());
    FUZZ_PROPERTY(!QFile::exists(file), "registrations are restored once");
    for (const Registration &registration : restored)
        FUZZ_PROPERTY(registration.client.startsWith(QLatin1Char(':')), "a client is known");
    FUZZ_PROPERTY(DBus::saveRegistrations(bus(), restored) == !restored.isEmpty(),
                  "what is restored is saved");
    const QVector<Registration> again = DBus::restoreRegistrations(bus());
    FUZZ_PROPERTY(again.size() == restored.size(), "as many are restored as are saved");
    for (int i = 0; i < restored.size(); ++i)
        FUZZ_PROPERTY(isSame(restored.at(i), again.at(i)), "what is saved is restored");
    return 0;
}
