#include "common/Core/application_id.h"
#include "common/Core/findings.h"
#include "common/Core/version_overrides.h"
#include "support/literals.h"
#include "support/root_places.h"
#include "support/temp_root.h"

#include <QTest>

class TestVersionOverrides : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { root = std::make_unique<TempRoot>(); }

    void overridesNothingWithoutAFile();
    void prefersTheMostSpecificKey_data();
    void prefersTheMostSpecificKey();
    void refusesOtherWildcards();
    void trimsAndTakesTheLast();
    void readsOneGroupOnly();
    void reloads();

private:
    void write(const QByteArray &text)
    {
        root->write(u"/etc/orvane/os-version-support.cfg"_s, text);
    }
    static QString versionOf(const Core::VersionOverrides &overrides, const char *id)
    {
        return overrides.versionFor(Core::ApplicationId(QString::fromLatin1(id)));
    }

    [[nodiscard]] std::unique_ptr<Core::VersionOverrides> load() const
    {
        return std::make_unique<Core::VersionOverrides>(placesOf(*root),
                                                        Core::LoggedFindings::instance());
    }

    std::unique_ptr<TempRoot> root;
};

void TestVersionOverrides::overridesNothingWithoutAFile()
{
    QCOMPARE(versionOf(*load(), "com.example.Notes"), QString());
}

void TestVersionOverrides::prefersTheMostSpecificKey_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("version");
    QTest::newRow("exact") << u"com.example.Notes"_s << u"1"_s;
    QTest::newRow("organisation") << u"com.example.Other"_s << u"2"_s;
    QTest::newRow("deeper") << u"com.example.x.y.Z"_s << u"2"_s;
    QTest::newRow("shorter wildcard") << u"com.other.App"_s << u"3"_s;
    QTest::newRow("global") << u"org.App"_s << u"4"_s;
    QTest::newRow("no dot") << u"App"_s << u"4"_s;
    QTest::newRow("empty") << QString() << QString();
}

void TestVersionOverrides::prefersTheMostSpecificKey()
{
    QFETCH(QString, id);
    QFETCH(QString, version);
    write("[Applications]\ncom.example.Notes=1\ncom.example.*=2\ncom.*=3\n*=4\n");
    QCOMPARE(load()->versionFor(Core::ApplicationId(id)), version);
}

void TestVersionOverrides::refusesOtherWildcards()
{
    write("[Applications]\na.*b=1\ncom*=2\n*.example=3\na.**=4\n");
    for (const char *key : {"a.*b", "com*", "*.example", "a.**"})
        QTest::ignoreMessage(QtWarningMsg, QByteArray("Invalid version override: \"") + key + "\"");
    const auto overrides = load();
    QCOMPARE(versionOf(*overrides, "com.example"), QString());
    QCOMPARE(versionOf(*overrides, "a.b"), QString());
}

void TestVersionOverrides::trimsAndTakesTheLast()
{
    write("[Applications]\na.b=1\na.c=\" 4.3 \"\na.b=2\n");
    const auto overrides = load();
    QCOMPARE(versionOf(*overrides, "a.b"), u"2"_s);
    QCOMPARE(versionOf(*overrides, "a.c"), u"4.3"_s);
}

void TestVersionOverrides::readsOneGroupOnly()
{
    write("a.b=1\n[Other]\na.b=2\n");
    QCOMPARE(versionOf(*load(), "a.b"), QString());
}

void TestVersionOverrides::reloads()
{
    const auto overrides = load();
    write("[Applications]\na.b=1\n");
    QCOMPARE(versionOf(*overrides, "a.b"), QString());
    overrides->reload();
    QCOMPARE(versionOf(*overrides, "a.b"), u"1"_s);
}

QTEST_GUILESS_MAIN(TestVersionOverrides)
#include "tst_version_overrides.moc"
