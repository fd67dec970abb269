#pragma once

#include "client/start_request.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <random>

/// Generates declarations and requests of every kind from a seed: ordinary ones, and odd texts
/// wherever a text can be. The same seed generates the same ones.
class GeneratedStarts
{
public:
    explicit GeneratedStarts(uint seed)
        : m_random(seed)
    {
    }

    /// Writes the desktop entry of an application that declares one task of the type Sync.
    void writeApplication(const TempRoot &root, int number)
    {
        root.write(u"/usr/share/applications/%1app %1.desktop"_s.arg(number),
                   "[Desktop Entry]\nType=Application\nName=App\nExec=/usr/bin/app -a\n"
                       + idGroup(number) + "\n[" + one({"X-Task ", "X-Service "}) + "sync"
                       + QByteArray::number(number) + "]\nType=Sync\n" + exec());
    }

    Client::StartRequest request()
    {
        Client::StartRequest request;
        request.user = text(chance(5) ? odd()
                                      : one({"nobody", "appuser", "1000", "a.b-c@d",
                                             "m\xc3\xbcller", "_x", "\xe6\x97\xa5"}));
        request.homeless = chance(30);
        request.atBoot = chance(30);
        if (chance(30))
            request.busName = text(chance(5) ? odd() : one({"com.example.Own", "a.b-_9", "x.Y.z"}));
        request.permissions = words(2, {"Audio", "BaseTask", "no such", "a\"b", "%h", "x\\y"});
        request.params = words(3, {"-v", "--", "--x=1", "", "'", "$HOME"});
        request.environment = words(2, {"A=1", "PATH=", "QT_QPA_PLATFORM=x", "=", "none"});
        request.weight = chance(30) ? number(-1000, 1000) : 0;
        request.cpuLimit = chance(30) ? number(-5, 100000) : 0;
        for (int count = number(0, 2); count > 0; --count)
            request.unitSettings.insert(text(key()), text(value({"64M", "", "no", "a b"})));
        return request;
    }

private:
    using Choices = std::initializer_list<const char *>;

    int number(int least, int most) { return least + int(m_random() % uint(most - least + 1)); }
    bool chance(int percent) { return number(0, 99) < percent; }
    static QString text(const QByteArray &utf8) { return QString::fromUtf8(utf8); }
    QByteArray one(Choices choices) { return choices.begin()[number(0, int(choices.size()) - 1)]; }

    // An odd but valid text; now and then one that is refused.
    QByteArray odd()
    {
        QByteArray text;
        for (int count = number(1, 5); count > 0; --count)
            text += one({"a",
                         "Z9",
                         " ",
                         "  ",
                         "\"",
                         "'",
                         "%",
                         "%%i",
                         "$",
                         "${A}",
                         "\\",
                         "\\x",
                         ";x",
                         "#",
                         "=",
                         "<&>",
                         "%1",
                         "[Service]",
                         "\xc3\xa4",
                         "e\xcc\x81",
                         "\xe6\x97\xa5\xe6\x9c\xac",
                         "\xf0\x9f\x98\x80",
                         "a\xef\xbb\xbf",
                         "\xe2\x80\x8b",
                         "\xd7\xa9",
                         "\xee\x80\x80"});
        if (chance(5))
            text += one({"\n", "\t", "\xe2\x80\xa8", "\xef\xbf\xbe", "\x7f", "\\", " ; "});
        return text;
    }
    QByteArray value(Choices choices) { return chance(50) ? odd() : one(choices); }
    QByteArray key()
    {
        return one({"MemoryMax", "User", "WantedBy", "Environment", "ExecStart", "Nice",
                    chance(10) ? "b\xc3\xa4 key" : "ZZZ"});
    }
    QStringList words(int most, Choices choices)
    {
        QStringList words;
        for (int count = number(0, most); count > 0; --count)
            words.append(text(value(choices)));
        return words;
    }
    // An application without this group has its name from its file. An id with odd parts cannot be
    // parsed.
    QByteArray idGroup(int number)
    {
        if (chance(20))
            return {};
        const bool isOdd = chance(8);
        const QByteArray organisation = isOdd
            ? one({"a", "\xc3\xbc.x"})
            : one({"com.example", "org.test", "net.odd-name", "com.deep.a_b"});
        const QByteArray name = isOdd ? one({"two words", "\xe6\x97\xa5"})
                                      : one({"Notes", "dotted.Name", "9th", "A-b_c"});
        return '[' + one({"X-Application", "X-Sailjail", "Sailjail"}) + "]\nOrganizationName="
            + organisation + "\nApplicationName=" + name + QByteArray::number(number) + '\n';
    }
    // Sometimes the bytes are not valid text. A task without Exec has that of its application.
    QByteArray exec()
    {
        if (chance(10))
            return {};
        QByteArray line =
            "Exec=" + one({"/opt/worker", "/opt/w\xc3\xb6rker", "/usr/bin/a.b", "/a;b"});
        for (int count = number(0, 3); count > 0; --count)
            line += ' ' + odd().replace('\n', "\\n");
        return line + (chance(3) ? "\xff" : "") + '\n';
    }

    std::mt19937 m_random;
};
