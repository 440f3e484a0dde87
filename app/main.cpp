#include <cstdio>

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include "app/command_line.h"
#include "app/scan_report.h"
#include "core/application_identity.h"
#include "core/device_registry.h"
#include "core/discovery_config.h"
#include "core/discovery_manager.h"
#include "ui/app_theme.h"
#include "ui/main_window.h"

namespace
{

constexpr int usageStatus = 2; // a configuration that cannot be used, or nothing to do

void writeLine(FILE *file, const QString &text)
{
    QTextStream stream(file);
    stream << text << '\n';
    stream.flush();
}

int runConsole(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    Sondrix::applyApplicationIdentity();

    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    parser.process(application);

    Sondrix::DeviceRegistry registry;
    Sondrix::DiscoveryManager manager(&registry);

    Sondrix::DiscoveryConfig config;
    QString error;
    if (!Sondrix::applyCommandLineOverrides(parser, &config, &error)) {
        writeLine(stderr, QStringLiteral("Invalid discovery configuration: ") + error);
        return usageStatus;
    }
    manager.configureDiscoverers(config);

    if (!parser.isSet(QStringLiteral("scan-once"))) {
        writeLine(stderr,
                  QStringLiteral("The REST API and headless service are not available in CorvaneTVSondrix."));
        return usageStatus;
    }
    manager.runPass();
    if (parser.isSet(QStringLiteral("json"))) {
        writeLine(stdout, Sondrix::scanReportText(Sondrix::buildScanReport(registry, &manager)));
    }
    return 0;
}

int runWindow(int argc, char **argv)
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    const QApplication application(argc, argv);
    Sondrix::applyApplicationIdentity();
    applyAppTheme();
    MainWindow window;
    window.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    return Sondrix::isConsoleInvocation(argc, argv) ? runConsole(argc, argv) : runWindow(argc, argv);
}
