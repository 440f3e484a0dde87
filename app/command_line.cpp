#include "app/command_line.h"

#include <cstring>

#include <QCommandLineOption>
#include <QCommandLineParser>

namespace Sondrix
{

bool hasArgument(int argc, const char *const *argv, const char *name)
{
    const std::size_t length = std::strlen(name);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], name, length) == 0 && (argv[i][length] == '\0' || argv[i][length] == '=')) {
            return true;
        }
    }
    return false;
}

bool isConsoleInvocation(int argc, const char *const *argv)
{
    return hasArgument(argc, argv, "--headless") || hasArgument(argc, argv, "--scan-once") ||
           hasArgument(argc, argv, "--json");
}

QList<QCommandLineOption> commandLineOptions()
{
    return {
        {QStringLiteral("headless"), QStringLiteral("Run without creating windows.")},
        {QStringLiteral("api-port"), QStringLiteral("REST API port. Use 0 for a random free port."),
         QStringLiteral("port"), QStringLiteral("45870")},
        {QStringLiteral("api-bind"), QStringLiteral("REST API bind address."), QStringLiteral("address"),
         QStringLiteral("127.0.0.1")},
        {QStringLiteral("scan-once"), QStringLiteral("Run one discovery pass and exit.")},
        {QStringLiteral("json"), QStringLiteral("Print JSON output for scan-once.")},
        {QStringLiteral("config"), QStringLiteral("Load discovery configuration JSON."),
         QStringLiteral("path")},
        {QStringLiteral("enable"), QStringLiteral("Enable a comma-separated provider list."),
         QStringLiteral("providers")},
        {QStringLiteral("disable"), QStringLiteral("Disable a comma-separated provider list."),
         QStringLiteral("providers")},
        {QStringLiteral("interfaces"), QStringLiteral("Limit discovery to interface addresses."),
         QStringLiteral("addresses")},
    };
}

void configureParser(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral("CorvaneTVSondrix discovery service"));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions(commandLineOptions());
}

} // namespace Sondrix
