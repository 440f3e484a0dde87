#include "discoverers/ndi_runtime.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibrary>
#include <QSet>

namespace Sondrix
{

namespace
{

template<typename Function>
bool resolve(QLibrary &library, const char *symbol, Function *function)
{
    *function = reinterpret_cast<Function>(library.resolve(symbol));
    return *function != nullptr;
}

/// Returns whether the required entry points are all there.
bool resolveApi(QLibrary &library, NdiApi *api)
{
    bool isComplete = resolve(library, "NDIlib_initialize", &api->NDIlib_initialize);
    resolve(library, "NDIlib_is_supported_CPU", &api->NDIlib_is_supported_CPU);
    isComplete &= resolve(library, "NDIlib_find_create_v2", &api->NDIlib_find_create_v2);
    isComplete &= resolve(library, "NDIlib_find_destroy", &api->NDIlib_find_destroy);
    isComplete &= resolve(library, "NDIlib_find_get_current_sources", &api->NDIlib_find_get_current_sources);
    isComplete &= resolve(library, "NDIlib_find_wait_for_sources", &api->NDIlib_find_wait_for_sources);
    return isComplete;
}

/// Where the runtime and its SDK lie beside the maker's products, from their folders upwards.
QStringList runtimeDirectories()
{
    const QDir application(QCoreApplication::applicationDirPath());
    const QDir current(QDir::currentPath());
    const QString ndi6 = QStringLiteral("sdk/NewTek NDI SDK/NDI 6 Advanced SDK/Bin/x64");
    const QString ndi5 = QStringLiteral("sdk/NewTek NDI SDK/NDI 5 SDK/Bin/x64");
    const QString twoUp = QStringLiteral("../../");
    const QString threeUp = QStringLiteral("../../../");

    QStringList directories{QString(), application.path()};
    for (const QDir &base : {application, current}) {
        directories << base.filePath(twoUp + QStringLiteral("bin64"))
                    << base.filePath(threeUp + QStringLiteral("bin64"));
    }
    for (const QDir &base : {application, current}) {
        directories << base.filePath(twoUp + ndi6) << base.filePath(threeUp + ndi6)
                    << base.filePath(twoUp + ndi5) << base.filePath(threeUp + ndi5);
    }
    return directories;
}

} // namespace

QStringList ndiLibraryCandidates()
{
    const QStringList fileNames{QStringLiteral("Processing.NDI.Lib.Advanced.x64.dll"),
                                QStringLiteral("Processing.NDI.Lib.x64.dll")};
    QStringList candidates;
    QSet<QString> seen;
    const QStringList directories = runtimeDirectories();
    for (const QString &directory : directories) {
        for (const QString &fileName : fileNames) {
            const QString candidate =
                directory.isEmpty() ? fileName : QDir::cleanPath(QDir(directory).filePath(fileName));
            const QString lowered = QDir::cleanPath(candidate).toLower();
            if (!seen.contains(lowered)) {
                seen.insert(lowered);
                candidates.append(candidate);
            }
        }
    }
#ifdef Q_OS_LINUX
    candidates << QStringLiteral("libndi.so.6") << QStringLiteral("libndi.so.5");
#endif
    return candidates;
}

bool loadNdiRuntime(QLibrary *library, NdiApi *api, QString *error)
{
    const auto fail = [error](const QString &text) {
        if (error != nullptr) {
            *error = text;
        }
        return false;
    };
    fail(QString());
    if (library == nullptr || api == nullptr) {
        return fail(QStringLiteral("NDI loader output is null"));
    }
    QString lastError;
    const QStringList candidates = ndiLibraryCandidates();
    for (const QString &candidate : candidates) {
        library->setFileName(candidate);
        if (!library->load()) {
            lastError = library->errorString();
            continue;
        }
        if (resolveApi(*library, api)) {
            return true;
        }
        lastError = QStringLiteral("NDI runtime is missing the find API");
        library->unload();
        *api = NdiApi();
    }
    if (lastError.isEmpty()) {
        return fail(QStringLiteral("NDI runtime was not found"));
    }
    return fail(QStringLiteral("NDI runtime was not found: ") + lastError);
}

} // namespace Sondrix
