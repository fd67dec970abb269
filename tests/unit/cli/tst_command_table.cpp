#include "cli/command.h"
#include "cli/completion.h"
#include "cli/help.h"
#include "cli/man_page.h"

#include <QSet>
#include <QTest>

// Checks what every command of the table must have.
class TestCommandTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasUniqueNames();
    void describesEveryCommand_data();
    void describesEveryCommand();
    void describesEveryOption();
    void isInHelpManPageAndCompletion_data();
    void isInHelpManPageAndCompletion();
};

void TestCommandTable::hasUniqueNames()
{
    QSet<QString> names;
    for (const Cli::Command &command : Cli::commands()) {
        QVERIFY2(!names.contains(command.name), qPrintable(command.name));
        names.insert(command.name);
        QSet<QString> options;
        for (const Cli::Option &option : Cli::allOptionsOf(command)) {
            QVERIFY2(!options.contains(option.name), qPrintable(option.name));
            options.insert(option.name);
        }
    }
}

void TestCommandTable::describesEveryCommand_data()
{
    QTest::addColumn<int>("index");
    for (int index = 0; index < Cli::commands().size(); ++index)
        QTest::newRow(qPrintable(Cli::commands().at(index).name)) << index;
}

void TestCommandTable::describesEveryCommand()
{
    QFETCH(int, index);
    const Cli::Command &command = Cli::commands().at(index);
    QVERIFY(!command.summary.isEmpty());
    QVERIFY(!command.description.isEmpty());
    QVERIFY(command.run != nullptr);
    // Every command can print JSON, so every command documents its fields.
    QVERIFY(!command.fields.isEmpty());
    for (const Cli::Argument &argument : command.arguments)
        QVERIFY(!argument.help.isEmpty());
}

void TestCommandTable::describesEveryOption()
{
    for (const Cli::Command &command : Cli::commands()) {
        for (const Cli::Option &option : Cli::allOptionsOf(command)) {
            QVERIFY2(!option.help.isEmpty(), qPrintable(option.name));
            // The texts are used inside sentences.
            QVERIFY2(!option.help.endsWith(QLatin1Char('.')), qPrintable(option.name));
        }
    }
}

void TestCommandTable::isInHelpManPageAndCompletion_data() { describesEveryCommand_data(); }

void TestCommandTable::isInHelpManPageAndCompletion()
{
    QFETCH(int, index);
    const Cli::Command &command = Cli::commands().at(index);
    const QByteArray name = command.name.toUtf8();
    QVERIFY(Cli::toolHelp().join(QLatin1Char('\n')).contains(command.summary));
    QVERIFY(Cli::manPage().contains("\n.Ss " + name + '\n'));
    QVERIFY(Cli::fishCompletion().contains(" -a " + name + ' '));
    QVERIFY(Cli::zshCompletion().contains("'" + name + ':'));
    for (const Cli::Option &option : Cli::allOptionsOf(command)) {
        QVERIFY(
            Cli::commandHelp(command).join(QLatin1Char('\n')).contains(Cli::spellingOf(option)));
        QVERIFY(Cli::bashCompletion().contains("--" + option.name.toUtf8()));
        QVERIFY(Cli::fishCompletion().contains("-n '__fish_seen_subcommand_from " + name + "' -l "
                                               + option.name.toUtf8()));
    }
}

QTEST_GUILESS_MAIN(TestCommandTable)
#include "tst_command_table.moc"
