#include <QDir>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The program with its window, from outside. Its window is asked and closed by way of the plugin
// window_remote.

namespace
{

constexpr int processTimeoutMs = 60000; // only a hanging program takes that long

QStringList words(const char *commandLine)
{
    return QString::fromLatin1(commandLine).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// What stands on standard error beside the words of Qt's platforms about themselves.
QByteArray withoutThePlatformsWords(const QByteArray &text)
{
    QByteArray rest;
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray &line : lines) {
        if (!line.trimmed().isEmpty() && !line.startsWith("This plugin does not support ") &&
            !line.startsWith("EnableNonClientDpiScaling() failed ")) { // offscreen; under Wine
            rest += line + '\n';
        }
    }
    return rest;
}

} // namespace

class WindowProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void opensTheWindow_data();
    void opensTheWindow();
    void searchesByItself();
    void closesDuringAPass();

private:
    void start(const QStringList &arguments);
    QByteArray ask(const QByteArray &question);
    QString shown(const char *part);
    void closeWindow();

    QScopedPointer<QTemporaryDir> m_directory; // where the program runs
    QScopedPointer<QLocalServer> m_server;
    QScopedPointer<QProcess> m_process;
    QLocalSocket *m_remote = nullptr; // owned by the server
};

void WindowProcessTest::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_server.reset(new QLocalServer);
    QVERIFY(m_server->listen(QStringLiteral("sondrix-window-%1").arg(QCoreApplication::applicationPid())));
}

void WindowProcessTest::cleanup()
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished();
    }
    m_process.reset();
    m_server.reset();
    m_remote = nullptr;
}

/// Starts the program and waits until it has loaded the plugin.
void WindowProcessTest::start(const QStringList &arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
#ifndef Q_OS_WIN // where it has no fonts
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
#endif
    // The program runs elsewhere, where a path without a drive may lead to another one.
    environment.insert(QStringLiteral("QT_PLUGIN_PATH"),
                       QDir(QStringLiteral(SONDRIX_TEST_PLUGINS)).canonicalPath());
    environment.insert(QStringLiteral("QT_QPA_GENERIC_PLUGINS"),
                       QStringLiteral("windowremote:") + m_server->fullServerName());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_directory->path());
    m_process.reset(new QProcess);
    m_process->setProcessEnvironment(environment);
    m_process->setWorkingDirectory(m_directory->path());
    m_process->start(QStringLiteral(SONDRIX_PROGRAM), arguments);
    QVERIFY(m_process->waitForStarted(processTimeoutMs));
    QVERIFY(m_server->waitForNewConnection(processTimeoutMs));
    m_remote = m_server->nextPendingConnection();
}

/// The window's answer; empty from a program that has ended or hangs.
QByteArray WindowProcessTest::ask(const QByteArray &question)
{
    m_remote->write(question + '\n');
    while (!m_remote->canReadLine()) {
        if (!m_remote->waitForReadyRead(processTimeoutMs)) {
            return QByteArray();
        }
    }
    return m_remote->readLine().trimmed();
}

/// One of the texts that the window shows.
QString WindowProcessTest::shown(const char *part)
{
    return QJsonDocument::fromJson(ask("state"))[QLatin1String(part)].toString();
}

void WindowProcessTest::closeWindow()
{
    QCOMPARE(ask("close"), QByteArray("closed"));
    QVERIFY(m_process->waitForFinished(processTimeoutMs));
    QCOMPARE(m_process->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_process->exitCode(), 0);
    QCOMPARE(m_process->readAllStandardOutput(), QByteArray());
    QCOMPARE(withoutThePlatformsWords(m_process->readAllStandardError()), QByteArray());
}

void WindowProcessTest::opensTheWindow_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("no arguments") << QStringList();
    QTest::newRow("capitals") << words("--JSON");
    QTest::newRow("help") << words("--help");
    QTest::newRow("version") << words("--version");
    QTest::newRow("configuration file") << words("--config none.json");
    QTest::newRow("unknown provider") << words("--enable bogus");
    QTest::newRow("unknown option") << words("--bogus");
    QTest::newRow("one hyphen") << words("-json");
    QTest::newRow("argument that is no option") << words("scan-once");
}

void WindowProcessTest::opensTheWindow()
{
    QFETCH(QStringList, arguments);
    start(arguments);
    if (QTest::currentTestFailed()) {
        return;
    }
    QCOMPARE(shown("title"), QStringLiteral("CorvaneTVSondrix - www.corvane.example"));
    closeWindow();
}

void WindowProcessTest::searchesByItself()
{
    start(QStringList());
    if (QTest::currentTestFailed()) {
        return;
    }
    QCOMPARE(shown("activity"), QStringLiteral("Ready"));
    QTRY_COMPARE_WITH_TIMEOUT(shown("activity"), QStringLiteral("Searching..."), processTimeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(shown("activity"), QStringLiteral("Search complete"), processTimeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(shown("activity"), QStringLiteral("Ready"), processTimeoutMs);
    closeWindow();
}

void WindowProcessTest::closesDuringAPass()
{
    start(QStringList());
    if (QTest::currentTestFailed()) {
        return;
    }
    QTRY_COMPARE_WITH_TIMEOUT(shown("activity"), QStringLiteral("Searching..."), processTimeoutMs);
    closeWindow();
}

#ifdef Q_OS_WIN
// Wine ends its desktop a second after the last window, and a program that starts just then gets none. The
// test has one all the time.
QTEST_MAIN(WindowProcessTest)
#else
QTEST_GUILESS_MAIN(WindowProcessTest)
#endif
#include "window_process_test.moc"
