#include "mdesktopentry.h"

#include "files/foreign_file.h"

#include <glib.h>

namespace {

QString mainGroup() { return QStringLiteral(G_KEY_FILE_DESKTOP_GROUP); }

// Takes over a string of GLib's; null gives an empty one.
QString taken(char *text)
{
    const QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

QStringList taken(char **texts)
{
    QStringList result;
    for (char **text = texts; text != nullptr && *text != nullptr; ++text)
        result.append(QString::fromUtf8(*text));
    g_strfreev(texts);
    return result;
}

// Whether a look-up failed because of an escape that the format does not know. The text as it
// stands is then nearest to what was meant. Frees the error.
bool isUnknownEscape(GError *error)
{
    const bool unknown = error->code == G_KEY_FILE_ERROR_INVALID_VALUE;
    g_error_free(error);
    return unknown;
}

// A list as it stands in the file, cut at the separators that no backslash precedes.
QStringList splitAsItStands(const QString &text)
{
    QStringList parts;
    QString part;
    bool escaped = false;
    for (const QChar character : text) {
        if (character == QLatin1Char(';') && !escaped) {
            parts.append(part);
            part.clear();
        } else {
            part += character;
        }
        escaped = !escaped && character == QLatin1Char('\\');
    }
    if (!part.isEmpty())
        parts.append(part);
    return parts;
}

} // namespace

class MDesktopEntryPrivate
{
public:
    MDesktopEntryPrivate()
        : file(g_key_file_new())
    {
    }
    ~MDesktopEntryPrivate() { g_key_file_unref(file); }
    MDesktopEntryPrivate(const MDesktopEntryPrivate &) = delete;
    MDesktopEntryPrivate &operator=(const MDesktopEntryPrivate &) = delete;

    bool load(const QString &fileName);
    bool has(const QByteArray &group, const QByteArray &key) const;
    bool hasTranslation(const char *key) const;
    QString applicationKey(const QString &key) const;
    QString string(const QString &group, const QString &key) const;
    QStringList list(const QString &group, const QString &key) const;
    QString textAsItStands(const QString &group, const QString &key) const;

    GKeyFile *file;
};

bool MDesktopEntryPrivate::load(const QString &fileName)
{
    const ForeignFile content = readForeignFile(fileName);
    if (content.state != ForeignFile::Read)
        return false;
    return g_key_file_load_from_data(file, content.text.constData(),
                                     static_cast<gsize>(content.text.size()), G_KEY_FILE_NONE,
                                     nullptr)
        != FALSE;
}

// To be asked before a look-up: most entries leave most keys out, and for each key that is not
// there GLib translates and formats an error, which costs more than reading the file.
bool MDesktopEntryPrivate::has(const QByteArray &group, const QByteArray &key) const
{
    return g_key_file_has_group(file, group.constData()) != FALSE
        && g_key_file_has_key(file, group.constData(), key.constData(), nullptr) != FALSE;
}

// Whether the main group has the key in one of the languages of the process.
bool MDesktopEntryPrivate::hasTranslation(const char *key) const
{
    const QByteArray start = QByteArray(key) + '[';
    for (const char *const *name = g_get_language_names(); *name != nullptr; ++name) {
        if (has(G_KEY_FILE_DESKTOP_GROUP, start + *name + ']'))
            return true;
    }
    return false;
}

QString MDesktopEntryPrivate::string(const QString &group, const QString &key) const
{
    const QByteArray groupName = group.toUtf8();
    const QByteArray keyName = key.toUtf8();
    if (!has(groupName, keyName))
        return {};
    GError *error = nullptr;
    char *value = g_key_file_get_string(file, groupName.constData(), keyName.constData(), &error);
    if (error == nullptr)
        return taken(value);
    g_free(value);
    return isUnknownEscape(error) ? textAsItStands(group, key) : QString();
}

QStringList MDesktopEntryPrivate::list(const QString &group, const QString &key) const
{
    const QByteArray groupName = group.toUtf8();
    const QByteArray keyName = key.toUtf8();
    if (!has(groupName, keyName))
        return {};
    GError *error = nullptr;
    char **values = g_key_file_get_string_list(file, groupName.constData(), keyName.constData(),
                                               nullptr, &error);
    if (error == nullptr)
        return taken(values);
    g_strfreev(values);
    return isUnknownEscape(error) ? splitAsItStands(textAsItStands(group, key)) : QStringList();
}

QString MDesktopEntryPrivate::textAsItStands(const QString &group, const QString &key) const
{
    return taken(
        g_key_file_get_value(file, group.toUtf8().constData(), key.toUtf8().constData(), nullptr));
}

QString MDesktopEntryPrivate::applicationKey(const QString &key) const
{
    for (const char *group : {"X-Application", "X-Sailjail", "Sailjail"}) {
        const QString value = string(QString::fromLatin1(group), key);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

MDesktopEntry::MDesktopEntry(const QString &fileName)
    : d(std::make_unique<MDesktopEntryPrivate>())
{
    if (!d->load(fileName)) {
        // A parse that stopped half-way must not show what it read.
        g_key_file_unref(d->file);
        d->file = g_key_file_new();
    }
}

MDesktopEntry::~MDesktopEntry() = default;

bool MDesktopEntry::isValid() const
{
    static const QStringList knownTypes{QStringLiteral("Application"), QStringLiteral("Link"),
                                        QStringLiteral("Directory")};
    return knownTypes.contains(type()) && !name().isEmpty();
}

QString MDesktopEntry::type() const { return value(QStringLiteral("Type")); }

QString MDesktopEntry::url() const { return value(QStringLiteral("URL")); }

QString MDesktopEntry::name() const
{
    const char *group = G_KEY_FILE_DESKTOP_GROUP;
    const char *key = G_KEY_FILE_DESKTOP_KEY_NAME;
    if (d->hasTranslation(key))
        return taken(g_key_file_get_locale_string(d->file, group, key, nullptr, nullptr));
    return d->has(group, key) ? taken(g_key_file_get_string(d->file, group, key, nullptr))
                              : QString();
}

QString MDesktopEntry::icon() const { return value(QStringLiteral("Icon")); }

QString MDesktopEntry::exec() const { return value(QStringLiteral("Exec")); }

QString MDesktopEntry::xMaemoService() const { return value(QStringLiteral("X-Maemo-Service")); }

QStringList MDesktopEntry::mimeType() const
{
    return stringListValue(mainGroup(), QStringLiteral("MimeType"));
}

bool MDesktopEntry::supportMimeParents() const
{
    const char *group = G_KEY_FILE_DESKTOP_GROUP;
    const char *key = "X-Halcyn-Support-Mime-Parents";
    return d->has(group, key) && g_key_file_get_boolean(d->file, group, key, nullptr) != FALSE;
}

QString MDesktopEntry::appOrgname() const
{
    return d->applicationKey(QStringLiteral("OrganizationName"));
}

QString MDesktopEntry::appName() const
{
    return d->applicationKey(QStringLiteral("ApplicationName"));
}

QStringList MDesktopEntry::groups() const { return taken(g_key_file_get_groups(d->file, nullptr)); }

QString MDesktopEntry::value(const QString &key) const { return value(mainGroup(), key); }

QString MDesktopEntry::value(const QString &group, const QString &key) const
{
    return d->string(group, key);
}

QStringList MDesktopEntry::stringListValue(const QString &group, const QString &key) const
{
    return d->list(group, key);
}
