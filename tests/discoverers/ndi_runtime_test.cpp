#include "discoverers/ndi_runtime.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using namespace Sondrix;

/// Looks for stand-ins of the runtime (fake_ndi/), from a program of its own where the place of the
/// program plays a part.
class NdiRuntimeTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void listsCandidates();
    void listsOneDirectoryOnce();
    void listsFirstOfPathsInOtherLetterCase();
    void takesFirstOfAllPlaces_data();
    void takesFirstOfAllPlaces();
    void doesNotLookInTheCurrentDirectory();
    void passesOver_data();
    void passesOver();
    void takesRuntimeWithoutCpuCheck();
    void reportsLastFailure_data();
    void reportsLastFailure();
    void fillsApiAndLibrary();
    void leavesNothingLoadedOnFailure();
    void needsOutput_data();
    void needsOutput();
    void takesNoErrorArgument();

private:
    struct Result {
        bool isFound = false;
        bool isLoaded = false;
        QString fileName;
        QStringList candidates;
        QStringList nullPointers;
        QString error;
    };

    QString path(const QString &relative) const;
    QString install(const QString &relative, const QString &library = QStringLiteral("fake_ndi")) const;
    Result lookFrom(const QString &programPlace, const QString &currentPlace) const;
    Result look() const;

    QScopedPointer<QTemporaryDir> m_root;
    QString m_currentPath; // what to restore
    // Whole, because a path without a drive leads elsewhere once the current directory has changed.
    const QDir m_libraries{QDir(QStringLiteral(SONDRIX_FAKE_NDI_DIRECTORY)).canonicalPath()};
};

namespace
{

const QString programDirectory = QStringLiteral("program/a/b/c");
const QString currentDirectory = QStringLiteral("work/a/b/c");
const QString systemDirectory = QStringLiteral("system"); // where the system's loader looks
const QString plain = QStringLiteral("Processing.NDI.Lib.x64.dll");

// In the order of the places: by the directories and then by the names in each.
const QStringList directories{
    systemDirectory,
    programDirectory,
    QStringLiteral("program/a/bin64"),
    QStringLiteral("program/bin64"),
    QStringLiteral("work/a/bin64"),
    QStringLiteral("work/bin64"),
    QStringLiteral("program/a/sdk/NewTek NDI SDK/NDI 6 Advanced SDK/Bin/x64"),
    QStringLiteral("program/sdk/NewTek NDI SDK/NDI 6 Advanced SDK/Bin/x64"),
    QStringLiteral("program/a/sdk/NewTek NDI SDK/NDI 5 SDK/Bin/x64"),
    QStringLiteral("program/sdk/NewTek NDI SDK/NDI 5 SDK/Bin/x64"),
    QStringLiteral("work/a/sdk/NewTek NDI SDK/NDI 6 Advanced SDK/Bin/x64"),
    QStringLiteral("work/sdk/NewTek NDI SDK/NDI 6 Advanced SDK/Bin/x64"),
    QStringLiteral("work/a/sdk/NewTek NDI SDK/NDI 5 SDK/Bin/x64"),
    QStringLiteral("work/sdk/NewTek NDI SDK/NDI 5 SDK/Bin/x64"),
};
const QStringList fileNames{QStringLiteral("Processing.NDI.Lib.Advanced.x64.dll"), plain};

/// The names of the system's own runtime, behind all places.
QStringList systemNames()
{
#ifdef Q_OS_LINUX
    return {QStringLiteral("libndi.so.6"), QStringLiteral("libndi.so.5")};
#else
    return {};
#endif
}

/// Every place, relative to the root of a test.
QStringList places()
{
    QStringList result;
    for (const QString &directory : directories) {
        for (const QString &fileName : fileNames) {
            result.append(directory + QLatin1Char('/') + fileName);
        }
    }
    const QStringList names = systemNames();
    for (const QString &name : names) {
        result.append(systemDirectory + QLatin1Char('/') + name);
    }
    return result;
}

/// What a candidate for a place reads like: the path, or the bare name for the system's loader.
QString candidateFor(const QString &place, const QString &root)
{
    const bool isSystems = QFileInfo(place).path() == systemDirectory;
    return isSystems ? QFileInfo(place).fileName() : QString(root + QLatin1Char('/') + place);
}

/// How a runtime at a place is found: as its candidate reads, but the loader of Windows finds one beside the
/// program by its bare name.
QString foundAs(const QString &place, const QString &root)
{
#ifdef Q_OS_WIN
    if (QFileInfo(place).path() == programDirectory) {
        return QFileInfo(place).fileName();
    }
#endif
    return candidateFor(place, root);
}

QStringList bothNamesIn(const QStringList &paths)
{
    QStringList result;
    for (const QString &path : paths) {
        result.append(path + QStringLiteral("/Processing.NDI.Lib.Advanced.x64.dll"));
        result.append(path + QStringLiteral("/Processing.NDI.Lib.x64.dll"));
    }
    return result;
}

/// The system's words about a candidate that is not there.
QString loadError(const QString &candidate)
{
    QLibrary library(candidate);
    return library.load() ? QString() : library.errorString();
}

} // namespace

void NdiRuntimeTest::init()
{
    m_currentPath = QDir::currentPath();
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
    QVERIFY(QDir(path(QString())).mkpath(systemDirectory));
    QVERIFY(QDir(path(QString())).mkpath(currentDirectory));
}

void NdiRuntimeTest::cleanup()
{
    QVERIFY(QDir::setCurrent(m_currentPath));
    m_root.reset();
}

QString NdiRuntimeTest::path(const QString &relative) const
{
    const QString root = QDir(m_root->path()).canonicalPath();
    return relative.isEmpty() ? root : QString(root + QLatin1Char('/') + relative);
}

/// Puts a stand-in at a place; gives its whole path, or nothing on failure.
QString NdiRuntimeTest::install(const QString &relative, const QString &library) const
{
    const QString target = path(relative);
    const QString source = m_libraries.filePath(library + QStringLiteral(".dll"));
    const bool isDone = QDir().mkpath(QFileInfo(target).path()) && QFile::copy(source, target);
    return isDone ? target : QString();
}

NdiRuntimeTest::Result NdiRuntimeTest::lookFrom(const QString &programPlace,
                                                const QString &currentPlace) const
{
    const QString original = QStringLiteral(SONDRIX_NDI_RUNTIME_PROCESS);
    const QString program = path(programPlace) + QLatin1Char('/') + QFileInfo(original).fileName();
    QDir().mkpath(path(programPlace));
    QDir().mkpath(path(currentPlace));
    if (!QFile::exists(program) && !QFile::copy(original, program)) {
        return {};
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
#ifdef Q_OS_WIN
    const QString variable = QStringLiteral("PATH");
    const QString earlier = QDir::listSeparator() + environment.value(variable);
#else
    const QString variable = QStringLiteral("LD_LIBRARY_PATH");
    const QString earlier;
#endif
    environment.insert(variable, path(systemDirectory) + earlier);
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(path(currentPlace));
    process.start(program, QStringList());
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        return {};
    }
    const QJsonObject object = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    return {object.value(QStringLiteral("isFound")).toBool(),
            object.value(QStringLiteral("isLoaded")).toBool(),
            object.value(QStringLiteral("fileName")).toString(),
            object.value(QStringLiteral("candidates")).toVariant().toStringList(),
            object.value(QStringLiteral("nullPointers")).toVariant().toStringList(),
            object.value(QStringLiteral("error")).toString()};
}

NdiRuntimeTest::Result NdiRuntimeTest::look() const
{
    return lookFrom(programDirectory, currentDirectory);
}

void NdiRuntimeTest::listsCandidates()
{
    QStringList expected;
    const QStringList all = places();
    for (const QString &place : all) {
        expected.append(candidateFor(place, path(QString())));
    }
    QCOMPARE(expected.size(), 28 + systemNames().size());
    QCOMPARE(look().candidates, expected);
}

void NdiRuntimeTest::listsOneDirectoryOnce()
{
    const QString application = QCoreApplication::applicationDirPath();
    QVERIFY(QDir::setCurrent(application));
    QCOMPARE(QDir::currentPath(), application);
    const QString two = QDir::cleanPath(application + QStringLiteral("/../.."));
    const QString three = QDir::cleanPath(application + QStringLiteral("/../../.."));
    const QString ndi6 = QStringLiteral("/sdk/NewTek NDI SDK/NDI 6 Advanced SDK/Bin/x64");
    const QString ndi5 = QStringLiteral("/sdk/NewTek NDI SDK/NDI 5 SDK/Bin/x64");
    QStringList expected = fileNames;
    expected += bothNamesIn({application, two + QStringLiteral("/bin64"), three + QStringLiteral("/bin64"),
                             two + ndi6, three + ndi6, two + ndi5, three + ndi5});
    expected += systemNames();
    QCOMPARE(ndiLibraryCandidates(), expected);
}

void NdiRuntimeTest::listsFirstOfPathsInOtherLetterCase()
{
    const QStringList candidates =
        lookFrom(QStringLiteral("Program/a/b/c"), QStringLiteral("program/a/b/c")).candidates;
    QStringList expected = fileNames;
    for (const QString &directory : directories) {
        if (directory.startsWith(QLatin1String("program/"))) {
            expected += bothNamesIn({path(QStringLiteral("Program/") + directory.mid(8))});
        }
    }
    QCOMPARE(candidates, expected + systemNames());
}

void NdiRuntimeTest::takesFirstOfAllPlaces_data()
{
    QTest::addColumn<int>("index");

    const QStringList all = places();
    for (int i = 0; i < all.size(); ++i) {
        QTest::newRow(qPrintable(all.at(i))) << i;
    }
}

void NdiRuntimeTest::takesFirstOfAllPlaces()
{
    QFETCH(int, index);

    const QStringList all = places();
    for (int i = index; i < all.size(); ++i) {
        QVERIFY(!install(all.at(i)).isEmpty());
    }
    QString first = all.at(index);
#ifdef Q_OS_WIN
    if (first == systemDirectory + QLatin1Char('/') + plain) {
        first = programDirectory + QLatin1Char('/') +
                fileNames.first(); // that bare name comes before the plain one
    }
#endif
    const Result result = look();
    QVERIFY(result.isFound);
    QVERIFY(result.isLoaded);
    QCOMPARE(result.fileName, foundAs(first, path(QString())));
    QCOMPARE(result.nullPointers, QStringList());
    QCOMPARE(result.error, QString());
}

void NdiRuntimeTest::doesNotLookInTheCurrentDirectory()
{
#ifdef Q_OS_WIN
    QSKIP("the system's own loader looks in the current directory for a bare name");
#endif
    QVERIFY(!install(currentDirectory + QLatin1Char('/') + plain).isEmpty());
    QVERIFY(!look().isFound);
}

void NdiRuntimeTest::passesOver_data()
{
    QTest::addColumn<QString>("library"); // what stands at the second place; empty for no library

    for (const char *symbol : {"NDIlib_initialize", "NDIlib_find_create_v2", "NDIlib_find_destroy",
                               "NDIlib_find_get_current_sources", "NDIlib_find_wait_for_sources"}) {
        QTest::newRow(symbol) << QString(QStringLiteral("fake_ndi_without_") + QLatin1String(symbol));
    }
    QTest::newRow("no library") << QString();
}

void NdiRuntimeTest::passesOver()
{
    QFETCH(QString, library);

    const QString bad = programDirectory + QLatin1Char('/') + fileNames.first();
    if (library.isEmpty()) {
        QVERIFY(QDir().mkpath(path(programDirectory)));
        QFile file(path(bad));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("MZ is how it begins"), qint64(19));
    } else {
        QVERIFY(!install(bad, library).isEmpty());
    }
    const QString good = install(directories.last() + QLatin1Char('/') + plain);
    QVERIFY(!good.isEmpty());
    const Result result = look();
    QVERIFY(result.isFound);
    QVERIFY(result.isLoaded);
    QCOMPARE(result.fileName, good);
    QCOMPARE(result.nullPointers, QStringList());
    QCOMPARE(result.error, QString());
}

void NdiRuntimeTest::takesRuntimeWithoutCpuCheck()
{
    const QString first = programDirectory + QLatin1Char('/') + plain;
    QVERIFY(!install(first, QStringLiteral("fake_ndi_without_NDIlib_is_supported_CPU")).isEmpty());
    QVERIFY(!install(directories.last() + QLatin1Char('/') + plain).isEmpty());
    const Result result = look();
    QVERIFY(result.isFound);
    QCOMPARE(result.fileName, foundAs(first, path(QString())));
    QCOMPARE(result.nullPointers, QStringList{QStringLiteral("NDIlib_is_supported_CPU")});
    QCOMPARE(result.error, QString());
}

void NdiRuntimeTest::reportsLastFailure_data()
{
    QTest::addColumn<QStringList>("incomplete"); // places of runtimes that lack an entry point
    QTest::addColumn<QString>("text");           // empty for the last place's load error

    const QStringList all = places();
    const QString missing = QStringLiteral("NDI runtime is missing the find API");
    QTest::newRow("no runtime") << QStringList() << QString();
    QTest::newRow("incomplete at the first place") << QStringList{all.first()} << QString();
    QTest::newRow("incomplete at the last place but one") << QStringList{all.at(all.size() - 2)} << QString();
    QTest::newRow("incomplete at the last place") << QStringList{all.last()} << missing;
    QTest::newRow("incomplete at every place") << all << missing;
}

void NdiRuntimeTest::reportsLastFailure()
{
    QFETCH(QStringList, incomplete);
    QFETCH(QString, text);

    const QStringList all = places();
    if (text.isEmpty()) {
        text = loadError(candidateFor(all.last(), path(QString())));
        if (text.isEmpty()) {
            QSKIP("the system has an NDI runtime of its own");
        }
    }
    for (const QString &place : incomplete) {
        QVERIFY(!install(place, QStringLiteral("fake_ndi_without_NDIlib_find_destroy")).isEmpty());
    }
    const Result result = look();
    QVERIFY(!result.isFound);
    QVERIFY(!result.isLoaded);
    QCOMPARE(result.nullPointers.size(), 6);
    QCOMPARE(result.error, QString(QStringLiteral("NDI runtime was not found: ") + text));
}

void NdiRuntimeTest::fillsApiAndLibrary()
{
    const QString file = install(QStringLiteral("work/a/bin64/") + plain);
    QVERIFY(QDir::setCurrent(path(currentDirectory)));
    QLibrary library;
    NdiApi api;
    QString error = QStringLiteral("left over");
    QVERIFY(loadNdiRuntime(&library, &api, &error));
    QCOMPARE(error, QString());
    QVERIFY(library.isLoaded());
    QCOMPARE(library.fileName(), file);
    const auto isSymbol = [&library](auto function, const char *symbol) {
        return function != nullptr && reinterpret_cast<QFunctionPointer>(function) == library.resolve(symbol);
    };
    QVERIFY(isSymbol(api.NDIlib_initialize, "NDIlib_initialize"));
    QVERIFY(isSymbol(api.NDIlib_is_supported_CPU, "NDIlib_is_supported_CPU"));
    QVERIFY(isSymbol(api.NDIlib_find_create_v2, "NDIlib_find_create_v2"));
    QVERIFY(isSymbol(api.NDIlib_find_destroy, "NDIlib_find_destroy"));
    QVERIFY(isSymbol(api.NDIlib_find_get_current_sources, "NDIlib_find_get_current_sources"));
    QVERIFY(isSymbol(api.NDIlib_find_wait_for_sources, "NDIlib_find_wait_for_sources"));
    QVERIFY(library.unload()); // Windows would find what is loaded by its bare name, wherever it lies
}

void NdiRuntimeTest::leavesNothingLoadedOnFailure()
{
    const QString file = install(QStringLiteral("work/a/bin64/") + plain,
                                 QStringLiteral("fake_ndi_without_NDIlib_find_create_v2"));
    QVERIFY(!file.isEmpty());
    QVERIFY(QDir::setCurrent(path(currentDirectory)));
    QLibrary library;
    NdiApi api;
    QVERIFY(!loadNdiRuntime(&library, &api, nullptr));
    QVERIFY(!library.isLoaded());
    QVERIFY(!QLibrary(file).isLoaded());
    QVERIFY(api.NDIlib_initialize == nullptr);
    QVERIFY(api.NDIlib_is_supported_CPU == nullptr);
    QVERIFY(api.NDIlib_find_wait_for_sources == nullptr);
}

void NdiRuntimeTest::needsOutput_data()
{
    QTest::addColumn<bool>("hasLibrary");
    QTest::addColumn<bool>("hasApi");

    QTest::newRow("no library") << false << true;
    QTest::newRow("no table") << true << false;
    QTest::newRow("neither") << false << false;
}

void NdiRuntimeTest::needsOutput()
{
    QFETCH(bool, hasLibrary);
    QFETCH(bool, hasApi);

    QLibrary library;
    NdiApi api;
    QString error = QStringLiteral("left over");
    QVERIFY(!loadNdiRuntime(hasLibrary ? &library : nullptr, hasApi ? &api : nullptr, &error));
    QCOMPARE(error, QStringLiteral("NDI loader output is null"));
    QVERIFY(!loadNdiRuntime(hasLibrary ? &library : nullptr, hasApi ? &api : nullptr, nullptr));
    QVERIFY(!library.isLoaded());
}

void NdiRuntimeTest::takesNoErrorArgument()
{
    QVERIFY(!install(QStringLiteral("work/a/bin64/") + plain).isEmpty());
    QVERIFY(QDir::setCurrent(path(currentDirectory)));
    QLibrary library;
    NdiApi api;
    QVERIFY(loadNdiRuntime(&library, &api, nullptr));
    QVERIFY(library.isLoaded());
    QVERIFY(library.unload());
}

QTEST_GUILESS_MAIN(NdiRuntimeTest)
#include "ndi_runtime_test.moc"
