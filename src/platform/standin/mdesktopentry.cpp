#include "mdesktopentry.h"

#include "files/foreign_file.h"
#include "other_languages.h"

#include <QDebug>
#include <QVarLengthArray>

#include <glib.h>

#include <cstring>
#include <optional>

namespace {

/// A name in UTF-8, for GLib. Most are short and ASCII and fit without an allocation.
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
            assign(name.toUtf8());
    }
    operator const char *() const { return m_text.constData(); }

private:
    void assign(const QByteArray &name)
    {
        m_text.clear();
        m_text.append(name.constData(), name.size() + 1);
    }

    QVarLengthArray<char, 64> m_text;
};

QString mainGroup() { return QStringLiteral(G_KEY_FILE_DESKTOP_GROUP); }

// Converts and frees a string of GLib's; null gives an empty one.
QString takenOver(char *text)
{
    const QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

QStringList takenOver(char **texts)
{
    QStringList result;
    for (char **text = texts; text != nullptr && *text != nullptr; ++text)
        result.append(QString::fromUtf8(*text));
    g_strfreev(texts);
    return result;
}

// Whether a look-up failed because of an unknown escape sequence. The text as written is then the
// closest to what was meant. Frees the error.
bool isUnknownEscape(GError *error)
{
    const bool unknown = error->code == G_KEY_FILE_ERROR_INVALID_VALUE;
    g_error_free(error);
    return unknown;
}

// Splits an unparsed list at the separators that have no backslash before them.
QStringList splitRaw(const QString &text)
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

// Whether a file has a key. Asked before each look-up, because GLib formats and translates an error
// for each one that fails, and most keys are absent. It also does so for a key of an absent group.
bool has(GKeyFile *file, const char *group, const char *key)
{
    return g_key_file_has_group(file, group) != FALSE
        && g_key_file_has_key(file, group, key, nullptr) != FALSE;
}

// Whether the main group has this key, and it is true.
bool isTrue(GKeyFile *file, const char *key)
{
    const char *const group = G_KEY_FILE_DESKTOP_GROUP;
    return has(file, group, key) && g_key_file_get_boolean(file, group, key, nullptr) != FALSE;
}

// Whether the main group has a translation of a key into a language of the process.
bool hasTranslation(GKeyFile *file, const char *key)
{
    QByteArray translated;
    for (const char *const *language = g_get_language_names(); *language != nullptr; ++language) {
        translated = key;
        translated.append('[').append(*language).append(']');
        if (has(file, G_KEY_FILE_DESKTOP_GROUP, translated.constData()))
            return true;
    }
    return false;
}

} // namespace

class MDesktopEntryPrivate
{
public:
    explicit MDesktopEntryPrivate(const QString &fileName)
        : file(loaded(fileName))
    {
    }
    ~MDesktopEntryPrivate() { g_key_file_unref(file); }
    MDesktopEntryPrivate(const MDesktopEntryPrivate &) = delete;
    MDesktopEntryPrivate &operator=(const MDesktopEntryPrivate &) = delete;

    QString applicationKey(const QString &key);
    QString string(const char *group, const char *key);
    QStringList list(const char *group, const char *key);
    /// A key of the main group that may be translated, in the language of the process.
    QString localString(const char *key);
    const QString &localName();

    GKeyFile *const file;

private:
    static GKeyFile *loaded(const QString &fileName);
    static GKeyFile *parsed(const QByteArray &text);
    // The value of a key that exists; no value if it has escapes or is not UTF-8.
    std::optional<QString> plainText(const char *group, const char *key) const;
    QString rawText(const char *group, const char *key) const;

    std::optional<QString> m_localName;
};

GKeyFile *MDesktopEntryPrivate::loaded(const QString &fileName)
{
    const ForeignFile content = readForeignFile(fileName);
    if (content.state == ForeignFile::TooLarge)
        qWarning() << "Desktop entry is too large:" << fileName;
    GKeyFile *file = parsed(content.text);
    if (!isTrue(file, G_KEY_FILE_DESKTOP_KEY_HIDDEN))
        return file;
    // Hidden=true means "deleted" in this format, so no other key is kept.
    g_key_file_unref(file);
    file = g_key_file_new();
    g_key_file_set_boolean(file, G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_HIDDEN, TRUE);
    return file;
}

GKeyFile *MDesktopEntryPrivate::parsed(const QByteArray &text)
{
    const KeyFileText own = withoutOtherLanguages(text, g_get_language_names());
    GKeyFile *file = g_key_file_new();
    if (g_key_file_load_from_data(file, own.constData(), static_cast<gsize>(own.size()),
                                  G_KEY_FILE_NONE, nullptr)
        != FALSE)
        return file;
    // After a parse error, the part that was read must not be visible.
    g_key_file_unref(file);
    return g_key_file_new();
}

QString MDesktopEntryPrivate::string(const char *group, const char *key)
{
    if (!has(file, group, key))
        return {};
    if (const std::optional<QString> text = plainText(group, key))
        return *text;
    GError *error = nullptr;
    char *value = g_key_file_get_string(file, group, key, &error);
    if (error == nullptr)
        return takenOver(value);
    g_free(value);
    return isUnknownEscape(error) ? rawText(group, key) : QString();
}

QStringList MDesktopEntryPrivate::list(const char *group, const char *key)
{
    if (!has(file, group, key))
        return {};
    if (const std::optional<QString> text = plainText(group, key))
        return splitRaw(*text);
    GError *error = nullptr;
    char **values = g_key_file_get_string_list(file, group, key, nullptr, &error);
    if (error == nullptr)
        return takenOver(values);
    g_strfreev(values);
    return isUnknownEscape(error) ? splitRaw(rawText(group, key)) : QStringList();
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

QString MDesktopEntryPrivate::rawText(const char *group, const char *key) const
{
    return takenOver(g_key_file_get_value(file, group, key, nullptr));
}

QString MDesktopEntryPrivate::localString(const char *key)
{
    const char *const group = G_KEY_FILE_DESKTOP_GROUP;
    if (hasTranslation(file, key))
        return takenOver(g_key_file_get_locale_string(file, group, key, nullptr, nullptr));
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
    // The untranslated name is checked, so that the result does not depend on the language.
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
    return isTrue(d->file, key);
}

QString MDesktopEntry::appOrgname() const
{
    return d->applicationKey(QStringLiteral("OrganizationName"));
}

QString MDesktopEntry::appName() const
{
    return d->applicationKey(QStringLiteral("ApplicationName"));
}

QStringList MDesktopEntry::groups() const
{
    return takenOver(g_key_file_get_groups(d->file, nullptr));
}

QString MDesktopEntry::value(const QString &key) const { return value(mainGroup(), key); }

QString MDesktopEntry::value(const QString &group, const QString &key) const
{
    return d->string(Name(group), Name(key));
}

QStringList MDesktopEntry::stringListValue(const QString &group, const QString &key) const
{
    return d->list(Name(group), Name(key));
}
