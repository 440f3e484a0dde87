#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

class QCommandLineParser;

namespace Sondrix
{

/// Which providers run and what seeds they get. The fields keep what a configuration file may hold;
/// this edition has no REST API, and nothing reads the api, interfaces and Streamlark fields.
struct DiscoveryConfig {
    bool apiEnabled = true;
    QString apiBindAddress = QStringLiteral("127.0.0.1");
    int apiPort = 0;
    QStringList interfaces;
    bool activeProbingEnabled = false; ///< ONVIF runs only where this is set too
    bool mdns = true;
    bool ssdp = true;
    bool upnpDlna = true;
    bool roku = true;
    bool cast = true;
    bool airplay = true;
    bool nmos = true;
    bool ember = true;
    bool onvif = true;
    bool ndi = true;
    bool sapAes67 = false;
    bool streamlarkEnabled = false;
    QStringList emberSeeds;
    QStringList nmosRegistries;
    QStringList ndiDiscoveryServers;
};

/// The configuration that a file's root object describes, over the defaults. Missing keys, wrong
/// types and unknown keys are no errors: the default stands.
DiscoveryConfig parseDiscoveryConfig(const QJsonObject &root);

/// Reads a JSON file into *config, replacing all of it. On failure *config stays as it was and
/// error, which may be null, says why.
bool loadDiscoveryConfig(const QString &path, DiscoveryConfig *config, QString *error);

/// Applies --config, --interfaces, --enable and --disable, in this order. Returns false with a text
/// in error, which may be null, at the first that fails.
bool applyCommandLineOverrides(const QCommandLineParser &parser, DiscoveryConfig *config, QString *error);

/// Sets the flag of each provider in a comma-separated list. Stops at the first unknown name, with a
/// text in error, which may be null; the names before it stay applied.
bool applyProviderList(DiscoveryConfig *config, const QString &list, bool enabled, QString *error);

/// Sets one provider's flag by any of its names. Returns false for an unknown name, with a text in
/// error, which may be null.
bool setProviderEnabled(DiscoveryConfig *config, const QString &name, bool enabled, QString *error);

/// Sets the flags of all eleven providers. Null is ignored.
void setAllProviders(DiscoveryConfig *config, bool enabled);

/// The name trimmed, in lower case, without hyphens, underscores and spaces.
QString normalizeProviderName(const QString &name);

/// The eleven provider names, as error texts list them.
QStringList knownProviderNames();

} // namespace Sondrix
