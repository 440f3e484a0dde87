#include <cstdio>

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <QStringList>

#include "app/command_line.h"
#include "core/application_identity.h"
#include "core/discovery_config.h"

// option_documents TEMPLATE OUTPUT: fills the marks of a template (man page or shell completion) with
// the program's own options, so that none of them can say something else than the program.

namespace
{

QList<QCommandLineOption> allOptions()
{
    QCommandLineParser parser;
    return QList<QCommandLineOption>{parser.addHelpOption(), parser.addVersionOption()} +
           Sondrix::commandLineOptions();
}

QString longName(const QCommandLineOption &option)
{
    return option.names().constLast();
}

QString dashedName(const QCommandLineOption &option)
{
    return QStringLiteral("--") + longName(option);
}

/// A name of one letter; empty if the option has none. Qt's "?" is for Windows alone.
QString shortName(const QCommandLineOption &option)
{
    const QString name = option.names().constFirst();
    return name.size() == 1 && name.at(0).isLetter() ? name : QString();
}

/// The description without the line breaks and the list of platforms that Qt puts into it.
QString description(const QCommandLineOption &option)
{
    return option.description().simplified();
}

QString forMan(QString text)
{
    return text.replace(QStringLiteral("-"), QStringLiteral("\\-"));
}

/// Within single quotes of a shell, where a quote ends the text, stands escaped and begins it anew.
QString forShell(QString text)
{
    return text.replace(QStringLiteral("'"), QStringLiteral("'\\''"));
}

template<typename Line>
QString eachOption(const QString &separator, const Line &line)
{
    QStringList lines;
    const QList<QCommandLineOption> options = allOptions();
    for (const QCommandLineOption &option : options) {
        const QString text = line(option);
        if (!text.isEmpty()) {
            lines.append(text);
        }
    }
    return lines.join(separator);
}

QString manEntry(const QCommandLineOption &option)
{
    QString names = QStringLiteral("\\fB\\-\\-") + forMan(longName(option)) + QStringLiteral("\\fR");
    if (!shortName(option).isEmpty()) {
        names.prepend(QStringLiteral("\\fB\\-") + shortName(option) + QStringLiteral("\\fR, "));
    }
    if (!option.valueName().isEmpty()) {
        names += QStringLiteral(" \\fI") + option.valueName() + QStringLiteral("\\fR");
    }
    QString text = QStringLiteral(".TP\n") + names + QLatin1Char('\n') + forMan(description(option));
    if (!option.defaultValues().isEmpty()) {
        text += QStringLiteral(" The default is ") + forMan(option.defaultValues().constFirst()) +
                QLatin1Char('.');
    }
    return text;
}

/// The long names of the options whose value has that name, joined for a pattern of bash.
QString bashPattern(const QStringList &valueNames)
{
    return eachOption(QStringLiteral("|"), [&](const QCommandLineOption &option) {
        return valueNames.contains(option.valueName()) ? dashedName(option) : QString();
    });
}

QString zshArgument(const QCommandLineOption &option)
{
    const QMap<QString, QString> actions{
        {QStringLiteral("path"), QStringLiteral("_files")},
        {QStringLiteral("providers"), QStringLiteral("_CorvaneTVSondrix_providers")},
    };
    // Brackets and colons end the parts of an argument of zsh.
    QString text = description(option).remove(QLatin1Char('[')).remove(QLatin1Char(']'));
    text.replace(QStringLiteral(":"), QStringLiteral("\\:"));
    QString value;
    if (!option.valueName().isEmpty()) {
        value = QLatin1Char(':') + option.valueName() + QLatin1Char(':') + actions.value(option.valueName());
    }
    return QStringLiteral("    '--") + longName(option) +
           (value.isEmpty() ? QString() : QStringLiteral("=")) + QLatin1Char('[') + forShell(text) +
           QLatin1Char(']') + value + QLatin1Char('\'');
}

QString fishLine(const QCommandLineOption &option)
{
    const QMap<QString, QString> values{
        {QString(), QStringLiteral("-f")},
        {QStringLiteral("path"), QStringLiteral("-r -F")},
        {QStringLiteral("providers"), QStringLiteral("-x -a \"(__fish_append , $providers)\"")},
    };
    const QString shortOption =
        shortName(option).isEmpty() ? QString() : QStringLiteral(" -s ") + shortName(option);
    return QStringLiteral("complete -c CorvaneTVSondrix") + shortOption + QStringLiteral(" -l ") +
           longName(option) + QLatin1Char(' ') + values.value(option.valueName(), QStringLiteral("-x")) +
           QStringLiteral(" -d '") + forShell(description(option)) + QLatin1Char('\'');
}

QMap<QString, QString> marks()
{
    const QString newLine = QStringLiteral("\n");
    const QString blank = QStringLiteral(" ");
    return {
        {QStringLiteral("@VERSION@"), Sondrix::applicationVersion()},
        {QStringLiteral("@PROVIDERS@"), Sondrix::knownProviderNames().join(blank)},
        {QStringLiteral("@MAN_OPTIONS@"), eachOption(newLine, manEntry)},
        {QStringLiteral("@BASH_OPTIONS@"), eachOption(blank, dashedName)},
        {QStringLiteral("@BASH_PATHS@"), bashPattern({QStringLiteral("path")})},
        {QStringLiteral("@BASH_PROVIDERS@"), bashPattern({QStringLiteral("providers")})},
        {QStringLiteral("@BASH_OTHERS@"),
         bashPattern({QStringLiteral("port"), QStringLiteral("address"), QStringLiteral("addresses")})},
        {QStringLiteral("@ZSH_ARGUMENTS@"), eachOption(QStringLiteral(" \\\n"), zshArgument)},
        {QStringLiteral("@FISH_LINES@"), eachOption(newLine, fishLine)},
    };
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 3) {
        std::fputs("usage: option_documents TEMPLATE OUTPUT\n", stderr);
        return 2;
    }
    QFile source(QString::fromLocal8Bit(argv[1]));
    QFile target(QString::fromLocal8Bit(argv[2]));
    if (!source.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: %s\n", argv[1], qPrintable(source.errorString()));
        return 1;
    }
    QString text = QString::fromUtf8(source.readAll());
    const QMap<QString, QString> replacements = marks();
    for (auto it = replacements.cbegin(); it != replacements.cend(); ++it) {
        text.replace(it.key(), it.value());
    }
    if (!target.open(QIODevice::WriteOnly) || target.write(text.toUtf8()) < 0 || !target.flush()) {
        std::fprintf(stderr, "%s: %s\n", argv[2], qPrintable(target.errorString()));
        return 1;
    }
    return 0;
}
