#include "core/discovery_config.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QVector>

namespace Sondrix
{

namespace
{

/// A provider's flag, its name in files and messages, and the normalised names that select it.
struct ProviderFlag {
    bool DiscoveryConfig::*flag;
    QString name;
    QStringList aliases;
};

const QVector<ProviderFlag> &providerFlags()
{
    static const QVector<ProviderFlag> flags{
        {&DiscoveryConfig::mdns, QStringLiteral("mdns"), {QStringLiteral("mdns")}},
        {&DiscoveryConfig::ssdp, QStringLiteral("ssdp"), {QStringLiteral("ssdp")}},
        {&DiscoveryConfig::upnpDlna,
         QStringLiteral("upnpDlna"),
         {QStringLiteral("upnp"), QStringLiteral("upnpdlna"), QStringLiteral("dlna")}},
        {&DiscoveryConfig::roku, QStringLiteral("roku"), {QStringLiteral("roku")}},
        {&DiscoveryConfig::cast,
         QStringLiteral("cast"),
         {QStringLiteral("cast"), QStringLiteral("chromecast"), QStringLiteral("googlecast")}},
        {&DiscoveryConfig::airplay,
         QStringLiteral("airplay"),
         {QStringLiteral("airplay"), QStringLiteral("raop")}},
        {&DiscoveryConfig::nmos, QStringLiteral("nmos"), {QStringLiteral("nmos")}},
        {&DiscoveryConfig::ember,
         QStringLiteral("ember"),
         {QStringLiteral("ember"), QStringLiteral("emberplus")}},
        {&DiscoveryConfig::onvif, QStringLiteral("onvif"), {QStringLiteral("onvif")}},
        {&DiscoveryConfig::ndi, QStringLiteral("ndi"), {QStringLiteral("ndi")}},
        {&DiscoveryConfig::sapAes67,
         QStringLiteral("sapAes67"),
         {QStringLiteral("sap"), QStringLiteral("aes67"), QStringLiteral("sapaes67")}},
    };
    return flags;
}

void setError(QString *error, const QString &text)
{
    if (error != nullptr) {
        *error = text;
    }
}

void readBool(const QJsonObject &object, const QString &key, bool *value)
{
    *value = object.value(key).toBool(*value);
}

QStringList stringElements(const QJsonValue &value)
{
    QStringList strings;
    const QJsonArray array = value.toArray();
    for (const QJsonValue &element : array) {
        if (element.isString()) {
            strings.append(element.toString());
        }
    }
    return strings;
}

/// The parts of a comma-separated list, trimmed, without empty ones.
QStringList splitList(const QString &list)
{
    QStringList parts;
    const QStringList pieces = list.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &piece : pieces) {
        const QString part = piece.trimmed();
        if (!part.isEmpty()) {
            parts.append(part);
        }
    }
    return parts;
}

} // namespace

DiscoveryConfig parseDiscoveryConfig(const QJsonObject &root)
{
    DiscoveryConfig config;

    const QJsonObject api = root.value(QStringLiteral("api")).toObject();
    readBool(api, QStringLiteral("enabled"), &config.apiEnabled);
    config.apiBindAddress = api.value(QStringLiteral("bindAddress")).toString(config.apiBindAddress);
    config.apiPort = api.value(QStringLiteral("port")).toInt(config.apiPort);

    const QJsonObject discovery = root.value(QStringLiteral("discovery")).toObject();
    config.interfaces = stringElements(discovery.value(QStringLiteral("interfaces")));
    readBool(discovery, QStringLiteral("activeProbingEnabled"), &config.activeProbingEnabled);

    const QJsonObject providers = discovery.value(QStringLiteral("providers")).toObject();
    for (const ProviderFlag &provider : providerFlags()) {
        readBool(providers, provider.name, &(config.*provider.flag));
    }

    const QJsonObject streamlark = root.value(QStringLiteral("streamlark")).toObject();
    readBool(streamlark, QStringLiteral("enabled"), &config.streamlarkEnabled);

    const QJsonObject seeds = root.value(QStringLiteral("manualSeeds")).toObject();
    config.emberSeeds = stringElements(seeds.value(QStringLiteral("ember")));
    config.nmosRegistries = stringElements(seeds.value(QStringLiteral("nmosRegistries")));
    config.ndiDiscoveryServers = stringElements(seeds.value(QStringLiteral("ndiDiscoveryServers")));
    return config;
}

bool loadDiscoveryConfig(const QString &path, DiscoveryConfig *config, QString *error)
{
    setError(error, QString());
    if (config == nullptr) {
        setError(error, QStringLiteral("config output is null"));
        return false;
    }
    if (path.isEmpty()) {
        // QFile says the same, but also warns on standard error.
        setError(error, QStringLiteral("No file name specified"));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        setError(error, file.errorString());
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        setError(error, parseError.errorString());
        return false;
    }
    if (!document.isObject()) {
        setError(error, QStringLiteral("config root must be a JSON object"));
        return false;
    }
    *config = parseDiscoveryConfig(document.object());
    return true;
}

bool applyCommandLineOverrides(const QCommandLineParser &parser, DiscoveryConfig *config, QString *error)
{
    setError(error, QString());
    if (config == nullptr) {
        setError(error, QStringLiteral("config output is null"));
        return false;
    }
    const QString configOption = QStringLiteral("config");
    const QString interfacesOption = QStringLiteral("interfaces");
    const QString enableOption = QStringLiteral("enable");
    const QString disableOption = QStringLiteral("disable");

    if (parser.isSet(configOption)) {
        const QString path = QFileInfo(parser.value(configOption)).absoluteFilePath();
        if (!loadDiscoveryConfig(path, config, error)) {
            return false;
        }
    }
    if (parser.isSet(interfacesOption)) {
        config->interfaces = splitList(parser.value(interfacesOption));
    }
    if (parser.isSet(enableOption)) {
        // Without a file the list names all providers that are to run; with one it adds to them.
        if (!parser.isSet(configOption)) {
            setAllProviders(config, false);
        }
        if (!applyProviderList(config, parser.value(enableOption), true, error)) {
            return false;
        }
    }
    if (parser.isSet(disableOption)) {
        return applyProviderList(config, parser.value(disableOption), false, error);
    }
    return true;
}

bool applyProviderList(DiscoveryConfig *config, const QString &list, bool enabled, QString *error)
{
    setError(error, QString());
    const QStringList names = splitList(list);
    for (const QString &name : names) {
        if (!setProviderEnabled(config, name, enabled, error)) {
            return false;
        }
    }
    return true;
}

bool setProviderEnabled(DiscoveryConfig *config, const QString &name, bool enabled, QString *error)
{
    setError(error, QString());
    if (config == nullptr) {
        setError(error, QStringLiteral("discovery config is null"));
        return false;
    }
    const QString normalized = normalizeProviderName(name);
    for (const ProviderFlag &provider : providerFlags()) {
        if (provider.aliases.contains(normalized)) {
            config->*provider.flag = enabled;
            return true;
        }
    }
    setError(error, QStringLiteral("unknown discovery provider '%1'. Known providers: %2")
                        .arg(name, knownProviderNames().join(QStringLiteral(", "))));
    return false;
}

void setAllProviders(DiscoveryConfig *config, bool enabled)
{
    if (config == nullptr) {
        return;
    }
    for (const ProviderFlag &provider : providerFlags()) {
        config->*provider.flag = enabled;
    }
}

QString normalizeProviderName(const QString &name)
{
    QString normalized = name.trimmed().toLower();
    normalized.remove(QLatin1Char('-'));
    normalized.remove(QLatin1Char('_'));
    normalized.remove(QLatin1Char(' '));
    return normalized;
}

QStringList knownProviderNames()
{
    QStringList names;
    for (const ProviderFlag &provider : providerFlags()) {
        names.append(provider.name);
    }
    return names;
}

} // namespace Sondrix
