#include "app/command_line.h"

#include <QCommandLineParser>
#include <QVector>
#include <QtTest>

namespace
{

/// An argument vector as main gets it, ended by a null pointer.
QVector<const char *> argvOf(const QByteArrayList &arguments)
{
    QVector<const char *> argv;
    for (const QByteArray &argument : arguments) {
        argv.append(argument.constData());
    }
    argv.append(nullptr);
    return argv;
}

} // namespace

class CommandLineTest : public QObject
{
    Q_OBJECT

private slots:
    void hasArgument_data();
    void hasArgument();
    void hasArgumentWithoutAnyArguments();
    void isConsoleInvocation_data();
    void isConsoleInvocation();

    void helpListsTheOptionsInOrder();
    void helpTellsTheDescription();
    void defaults_data();
    void defaults();
    void optionsTakeValues_data();
    void optionsTakeValues();
    void switchesRejectValues_data();
    void switchesRejectValues();
    void optionsHaveNoShortNames();
};

void CommandLineTest::hasArgument_data()
{
    QTest::addColumn<QByteArrayList>("arguments"); // behind the program's name
    QTest::addColumn<bool>("found");               // "--json"

    QTest::newRow("none") << QByteArrayList{} << false;
    QTest::newRow("exact") << QByteArrayList{"--json"} << true;
    QTest::newRow("behind others") << QByteArrayList{"--enable", "mdns", "--json"} << true;
    QTest::newRow("with a value") << QByteArrayList{"--json=1"} << true;
    QTest::newRow("with an empty value") << QByteArrayList{"--json="} << true;
    QTest::newRow("with a value that holds an equals sign") << QByteArrayList{"--json=a=b"} << true;
    QTest::newRow("as the value of another") << QByteArrayList{"--config", "--json"} << true;
    QTest::newRow("behind the end of the options") << QByteArrayList{"--", "--json"} << true;
    QTest::newRow("capitals") << QByteArrayList{"--JSON"} << false;
    QTest::newRow("one capital") << QByteArrayList{"--Json"} << false;
    QTest::newRow("longer name") << QByteArrayList{"--jsonl"} << false;
    QTest::newRow("longer name with a value") << QByteArrayList{"--json-lines=1"} << false;
    QTest::newRow("cut off") << QByteArrayList{"--jso"} << false;
    QTest::newRow("cut off with a value") << QByteArrayList{"--jso=n"} << false;
    QTest::newRow("one hyphen") << QByteArrayList{"-json"} << false;
    QTest::newRow("no hyphens") << QByteArrayList{"json"} << false;
    QTest::newRow("white space before") << QByteArrayList{" --json"} << false;
    QTest::newRow("white space behind") << QByteArrayList{"--json "} << false;
    QTest::newRow("colon") << QByteArrayList{"--json:1"} << false;
    QTest::newRow("inside a value") << QByteArrayList{"--config=--json"} << false;
    QTest::newRow("empty argument") << QByteArrayList{""} << false;
    QTest::newRow("bytes beyond ASCII") << QByteArrayList{"--json\xc3\xa9", "\xff\xfe"} << false;
}

void CommandLineTest::hasArgument()
{
    QFETCH(QByteArrayList, arguments);
    arguments.prepend("program");
    const QVector<const char *> argv = argvOf(arguments);
    QTEST(Sondrix::hasArgument(arguments.size(), argv.constData(), "--json"), "found");
}

void CommandLineTest::hasArgumentWithoutAnyArguments()
{
    const QByteArrayList arguments{"--json", "--json"};
    const QVector<const char *> argv = argvOf(arguments);
    QVERIFY(!Sondrix::hasArgument(1, argv.constData(), "--json")); // the program's name does not count
    QVERIFY(!Sondrix::hasArgument(0, argv.constData(), "--json"));
    QVERIFY(!Sondrix::hasArgument(-1, argv.constData(), "--json"));
    QVERIFY(!Sondrix::hasArgument(0, nullptr, "--json"));
}

void CommandLineTest::isConsoleInvocation_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<bool>("console");

    QTest::newRow("no arguments") << QByteArrayList{} << false;
    QTest::newRow("headless") << QByteArrayList{"--headless"} << true;
    QTest::newRow("scan-once") << QByteArrayList{"--scan-once"} << true;
    QTest::newRow("json") << QByteArrayList{"--json"} << true;
    QTest::newRow("all three") << QByteArrayList{"--headless", "--scan-once", "--json"} << true;
    QTest::newRow("scan-once with a value") << QByteArrayList{"--scan-once=1"} << true;
    QTest::newRow("headless with a value") << QByteArrayList{"--headless=no"} << true;
    QTest::newRow("help with scan-once") << QByteArrayList{"--help", "--scan-once"} << true;
    QTest::newRow("json as the value of config") << QByteArrayList{"--config", "--json"} << true;
    QTest::newRow("capitals") << QByteArrayList{"--JSON"} << false;
    QTest::newRow("help") << QByteArrayList{"--help"} << false;
    QTest::newRow("short help") << QByteArrayList{"-h"} << false;
    QTest::newRow("version") << QByteArrayList{"--version"} << false;
    QTest::newRow("config") << QByteArrayList{"--config", "file.json"} << false;
    QTest::newRow("enable, disable and interfaces")
        << QByteArrayList{"--enable", "mdns", "--disable=ssdp", "--interfaces", "10.0.0.1"} << false;
    QTest::newRow("API options") << QByteArrayList{"--api-port", "1", "--api-bind", "0.0.0.0"} << false;
    QTest::newRow("unknown option") << QByteArrayList{"--scan"} << false;
}

void CommandLineTest::isConsoleInvocation()
{
    QFETCH(QByteArrayList, arguments);
    arguments.prepend("program");
    const QVector<const char *> argv = argvOf(arguments);
    QTEST(Sondrix::isConsoleInvocation(arguments.size(), argv.constData()), "console");
}

void CommandLineTest::helpListsTheOptionsInOrder()
{
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    const QString help = parser.helpText().simplified(); // how lines are broken is the parser's business
    const QString options =
        QStringLiteral("--headless Run without creating windows. "
                       "--api-port <port> REST API port. Use 0 for a random free port. "
                       "--api-bind <address> REST API bind address. "
                       "--scan-once Run one discovery pass and exit. "
                       "--json Print JSON output for scan-once. "
                       "--config <path> Load discovery configuration JSON. "
                       "--enable <providers> Enable a comma-separated provider list. "
                       "--disable <providers> Disable a comma-separated provider list. "
                       "--interfaces <addresses> Limit discovery to interface addresses.");
    QVERIFY2(help.endsWith(options), qPrintable(help));
    const int helpOption = help.indexOf(QLatin1String("--help"));
    const int versionOption = help.indexOf(QLatin1String("--version"));
    QVERIFY(helpOption >= 0);
    QVERIFY(helpOption < versionOption);
    QVERIFY(versionOption < help.indexOf(QLatin1String("--headless")));
}

void CommandLineTest::helpTellsTheDescription()
{
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QCOMPARE(parser.applicationDescription(), QStringLiteral("CorvaneTVSondrix discovery service"));
    QVERIFY(parser.helpText().contains(parser.applicationDescription()));
}

void CommandLineTest::defaults_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QStringList>("values");
    QTest::newRow("api-port") << QStringLiteral("api-port") << QStringList{QStringLiteral("45870")};
    QTest::newRow("api-bind") << QStringLiteral("api-bind") << QStringList{QStringLiteral("127.0.0.1")};
    for (const char *name : {"headless", "scan-once", "json", "config", "enable", "disable", "interfaces"}) {
        QTest::newRow(name) << QString::fromLatin1(name) << QStringList();
    }
}

void CommandLineTest::defaults()
{
    QFETCH(QString, option);
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QVERIFY(parser.parse({QStringLiteral("program")}));
    QVERIFY(!parser.isSet(option));
    QTEST(parser.values(option), "values");
}

void CommandLineTest::optionsTakeValues_data()
{
    QTest::addColumn<QString>("option");
    for (const char *name : {"api-port", "api-bind", "config", "enable", "disable", "interfaces"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void CommandLineTest::optionsTakeValues()
{
    QFETCH(QString, option);
    const QString argument = QStringLiteral("--") + option;
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QVERIFY(parser.parse(
        {QStringLiteral("program"), argument, QStringLiteral("first"), argument, QStringLiteral("--json")}));
    QCOMPARE(parser.value(option), QStringLiteral("--json"));
    QVERIFY(!parser.isSet(QStringLiteral("json")));
    QVERIFY(parser.positionalArguments().isEmpty());
    QVERIFY(!parser.parse({QStringLiteral("program"), argument}));
}

void CommandLineTest::switchesRejectValues_data()
{
    QTest::addColumn<QString>("option");
    for (const char *name : {"headless", "scan-once", "json"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void CommandLineTest::switchesRejectValues()
{
    QFETCH(QString, option);
    const QString argument = QStringLiteral("--") + option;
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QVERIFY(parser.parse({QStringLiteral("program"), argument}));
    QVERIFY(parser.isSet(option));
    QVERIFY(!parser.parse({QStringLiteral("program"), QString(argument + QStringLiteral("=1"))}));
}

void CommandLineTest::optionsHaveNoShortNames()
{
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QString known;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        const QString option = QStringLiteral("-") + QLatin1Char(letter);
        parser.parse({QStringLiteral("program"), option});
        if (parser.unknownOptionNames().isEmpty()) {
            known += QLatin1Char(letter);
        }
    }
    QCOMPARE(known, QStringLiteral("hv")); // the parser's own help and version
}

QTEST_GUILESS_MAIN(CommandLineTest)
#include "command_line_test.moc"
