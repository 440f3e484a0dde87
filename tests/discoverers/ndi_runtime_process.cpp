// Looks for the NDI runtime from where this program lies and runs, and prints what it finds as one
// JSON object.

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>
#include <QTextStream>

#include "discoverers/ndi_runtime.h"

using namespace Sondrix;

namespace
{

QStringList nullPointers(const NdiApi &api)
{
    QStringList names;
    const auto test = [&names](bool isThere, const char *name) {
        if (!isThere) {
            names.append(QString::fromLatin1(name));
        }
    };
    test(api.NDIlib_initialize != nullptr, "NDIlib_initialize");
    test(api.NDIlib_is_supported_CPU != nullptr, "NDIlib_is_supported_CPU");
    test(api.NDIlib_find_create_v2 != nullptr, "NDIlib_find_create_v2");
    test(api.NDIlib_find_destroy != nullptr, "NDIlib_find_destroy");
    test(api.NDIlib_find_get_current_sources != nullptr, "NDIlib_find_get_current_sources");
    test(api.NDIlib_find_wait_for_sources != nullptr, "NDIlib_find_wait_for_sources");
    return names;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QLibrary library;
    NdiApi api;
    QString error = QStringLiteral("left over");
    const bool isFound = loadNdiRuntime(&library, &api, &error);
    const QJsonObject result{
        {QStringLiteral("candidates"), QJsonArray::fromStringList(ndiLibraryCandidates())},
        {QStringLiteral("isFound"), isFound},
        {QStringLiteral("isLoaded"), library.isLoaded()},
        {QStringLiteral("fileName"), library.fileName()},
        {QStringLiteral("nullPointers"), QJsonArray::fromStringList(nullPointers(api))},
        {QStringLiteral("error"), error},
    };
    QTextStream output(stdout);
    output.setCodec("UTF-8");
    output << QString::fromUtf8(QJsonDocument(result).toJson());
    return 0;
}
