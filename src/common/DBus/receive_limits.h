#pragma once

class QDBusConnection;

namespace DBus {

/// Lets a connection receive as much as its peers send. Without it a client could make the process
/// deaf: the bus library stops reading when the messages that were received and are still kept
/// reach a limit, 63 MiB unless told otherwise, and starts again when one is released; that happens
/// on the thread that handles messages, and the framework can wake up its reader on the reader's
/// own thread only. What bounds the memory then is what the process keeps. Call right after
/// connecting.
void liftReceiveLimits(const QDBusConnection &bus);

} // namespace DBus
