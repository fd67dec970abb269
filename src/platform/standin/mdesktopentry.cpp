#include "mdesktopentry.h"

#include "files/foreign_file.h"

#include <QDebug>
#include <QVarLengthArray>

#include <glib.h>

#include <cstring>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace {

/// A name as GLib takes it. Most are short and ASCII and need no memory of their own.
class Name
{
public:
    explicit Name(const QString &name)
    {
        m_text.resize(name.size() + 1);
        char *end = m_text.data();
        ushort all = 0;
        for (const QChar character : name) {
            all |= character.unicode();
            *end++ = static_cast<char>(character.unicode());
        }
        *end = '\0';
        if (all >= 0x80)
            takeOther(name.toUtf8());
    }
    operator const char *() const { return m_text.constData(); }

private:
    void takeOther(const QByteArray &name)
    {
        m_text.clear();
        m_text.append(name.constData(), name.size() + 1);
    }

    QVarLengthArray<char, 64> m_text;
};

QString mainGroup() { return QStringLiteral(G_KEY_FILE_DESKTOP_GROUP); }

// Takes over a string of GLib's; null gives an empty one.
QString taken(char *text)
{
    const QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

QStringList listOf(char **texts)
{
    QStringList result;
    for (char **text = texts; text != nullptr && *text != nullptr; ++text)
        result.append(QString::fromUtf8(*text));
    return result;
}

QStringList taken(char **texts)
{
    const QStringList result = listOf(texts);
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
    int start = 0;
    bool escaped = false;
    for (int position = 0; position < text.size(); ++position) {
        const QChar character = text.at(position);
        if (character == QLatin1Char(';') && !escaped) {
            parts.append(text.mid(start, position - start));
            start = position + 1;
        }
        escaped = !escaped && character == QLatin1Char('\\');
    }
    if (start < text.size())
        parts.append(text.mid(start));
    return parts;
}

/// Which groups and keys a file has. Each group is asked for its keys once, because GLib formats
/// and translates an error for each look-up that fails, and most keys are in no entry.
class Index
{
public:
    explicit Index(GKeyFile *file)
        : m_file(file)
        , m_groups(g_key_file_get_groups(file, nullptr))
    {
        for (char **group = m_groups; *group != nullptr; ++group)
            m_keys.emplace(*group, nullptr);
    }
    ~Index()
    {
        for (const auto &group : m_keys)
            g_strfreev(group.second);
        g_strfreev(m_groups);
    }
    Q_DISABLE_COPY(Index)

    [[nodiscard]] bool has(const char *group, const char *key)
    {
        return hasKeyThat(group, [=](const char *other) { return std::strcmp(other, key) == 0; });
    }
    /// Whether the group has a translation of the key.
    [[nodiscard]] bool hasTranslation(const char *group, const char *key)
    {
        return hasKeyThat(group, [key, length = std::strlen(key)](const char *other) {
            return std::strncmp(other, key, length) == 0 && other[length] == '[';
        });
    }
    [[nodiscard]] char **groups() const { return m_groups; }

private:
    template <typename Test>
    bool hasKeyThat(const char *group, const Test &test)
    {
        const auto found = m_keys.find(group);
        if (found == m_keys.end())
            return false;
        if (found->second == nullptr)
            found->second = g_key_file_get_keys(m_file, group, nullptr, nullptr);
        for (char **key = found->second; key != nullptr && *key != nullptr; ++key) {
            if (test(*key))
                return true;
        }
        return false;
    }

    GKeyFile *const m_file;
    char **const m_groups;
    /// By name of the group, which is m_groups'; null before the group is asked.
    std::unordered_map<std::string_view, char **> m_keys;
};

} // namespace

class MDesktopEntryPrivate
{
public:
    explicit MDesktopEntryPrivate(const QString &fileName)
        : file(loaded(fileName))
        , index(file)
    {
    }
    ~MDesktopEntryPrivate() { g_key_file_unref(file); }
    MDesktopEntryPrivate(const MDesktopEntryPrivate &) = delete;
    MDesktopEntryPrivate &operator=(const MDesktopEntryPrivate &) = delete;

    QString applicationKey(const QString &key);
    QString string(const char *group, const char *key);
    QStringList list(const char *group, const char *key);
    /// Of a key of the main group that may be translated, in the language of the process.
    QString localString(const char *key);
    const QString &localName();

    GKeyFile *const file;
    Index index;

private:
    static GKeyFile *loaded(const QString &fileName);
    static GKeyFile *parsed(const QByteArray &text);
    // Of a key that the group has: nothing if there are escapes to undo or it is not UTF-8.
    std::optional<QString> plainText(const char *group, const char *key) const;
    QString textAsItStands(const char *group, const char *key) const;

    std::optional<QString> m_localName;
};

GKeyFile *MDesktopEntryPrivate::loaded(const QString &fileName)
{
    const ForeignFile content = readForeignFile(fileName);
    if (content.state == ForeignFile::TooLarge)
        qWarning() << "Desktop entry is too large:" << fileName;
    GKeyFile *file = parsed(content.text);
    if (g_key_file_get_boolean(file, G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_HIDDEN,
                               nullptr)
        == FALSE)
        return file;
    // The format's word for deleted: nothing else of it is there.
    g_key_file_unref(file);
    file = g_key_file_new();
    g_key_file_set_boolean(file, G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_HIDDEN, TRUE);
    return file;
}

GKeyFile *MDesktopEntryPrivate::parsed(const QByteArray &text)
{
    GKeyFile *file = g_key_file_new();
    if (g_key_file_load_from_data(file, text.constData(), static_cast<gsize>(text.size()),
                                  G_KEY_FILE_NONE, nullptr)
        != FALSE)
        return file;
    // A parse that stopped half-way must not show what it read.
    g_key_file_unref(file);
    return g_key_file_new();
}

QString MDesktopEntryPrivate::string(const char *group, const char *key)
{
    if (!index.has(group, key))
        return {};
    if (const std::optional<QString> text = plainText(group, key))
        return *text;
    GError *error = nullptr;
    char *value = g_key_file_get_string(file, group, key, &error);
    if (error == nullptr)
        return taken(value);
    g_free(value);
    return isUnknownEscape(error) ? textAsItStands(group, key) : QString();
}

QStringList MDesktopEntryPrivate::list(const char *group, const char *key)
{
    if (!index.has(group, key))
        return {};
    if (const std::optional<QString> text = plainText(group, key))
        return splitAsItStands(*text);
    GError *error = nullptr;
    char **values = g_key_file_get_string_list(file, group, key, nullptr, &error);
    if (error == nullptr)
        return taken(values);
    g_strfreev(values);
    return isUnknownEscape(error) ? splitAsItStands(textAsItStands(group, key)) : QStringList();
}

std::optional<QString> MDesktopEntryPrivate::plainText(const char *group, const char *key) const
{
    char *value = g_key_file_get_value(file, group, key, nullptr);
    std::optional<QString> text;
    if (std::strchr(value, '\\') == nullptr && g_utf8_validate(value, -1, nullptr) != FALSE)
        text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

QString MDesktopEntryPrivate::textAsItStands(const char *group, const char *key) const
{
    return taken(g_key_file_get_value(file, group, key, nullptr));
}

QString MDesktopEntryPrivate::localString(const char *key)
{
    const char *const group = G_KEY_FILE_DESKTOP_GROUP;
    // GLib keeps the translations that the process may want, and tries one after the other.
    if (index.hasTranslation(group, key))
        return taken(g_key_file_get_locale_string(file, group, key, nullptr, nullptr));
    return string(group, key);
}

const QString &MDesktopEntryPrivate::localName()
{
    if (!m_localName)
        m_localName = localString(G_KEY_FILE_DESKTOP_KEY_NAME);
    return *m_localName;
}

QString MDesktopEntryPrivate::applicationKey(const QString &key)
{
    const Name name(key);
    for (const char *group : {"X-Application", "X-Sailjail", "Sailjail"}) {
        const QString value = string(group, name);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

MDesktopEntry::MDesktopEntry(const QString &fileName)
    : d(std::make_unique<MDesktopEntryPrivate>(fileName))
{
}

MDesktopEntry::~MDesktopEntry() = default;

bool MDesktopEntry::isValid() const
{
    static const QStringList knownTypes{QStringLiteral("Application"), QStringLiteral("Link"),
                                        QStringLiteral("Directory")};
    // Of the name as it is without a translation: an entry is the same for every language.
    return knownTypes.contains(type()) && !value(QStringLiteral("Name")).isEmpty();
}

QString MDesktopEntry::type() const { return value(QStringLiteral("Type")); }

QString MDesktopEntry::url() const { return value(QStringLiteral("URL")); }

QString MDesktopEntry::name() const { return d->localName(); }

QString MDesktopEntry::icon() const { return d->localString(G_KEY_FILE_DESKTOP_KEY_ICON); }

QString MDesktopEntry::exec() const { return value(QStringLiteral("Exec")); }

QString MDesktopEntry::xMaemoService() const { return value(QStringLiteral("X-Maemo-Service")); }

QStringList MDesktopEntry::mimeType() const
{
    return stringListValue(mainGroup(), QStringLiteral("MimeType"));
}

bool MDesktopEntry::supportMimeParents() const
{
    const char *const key = "X-Halcyn-Support-Mime-Parents";
    return d->index.has(G_KEY_FILE_DESKTOP_GROUP, key)
        && g_key_file_get_boolean(d->file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr) != FALSE;
}

QString MDesktopEntry::appOrgname() const
{
    return d->applicationKey(QStringLiteral("OrganizationName"));
}

QString MDesktopEntry::appName() const
{
    return d->applicationKey(QStringLiteral("ApplicationName"));
}

QStringList MDesktopEntry::groups() const { return listOf(d->index.groups()); }

QString MDesktopEntry::value(const QString &key) const { return value(mainGroup(), key); }

QString MDesktopEntry::value(const QString &group, const QString &key) const
{
    return d->string(Name(group), Name(key));
}

QStringList MDesktopEntry::stringListValue(const QString &group, const QString &key) const
{
    return d->list(Name(group), Name(key));
}
