#include "discoverers/flat_xml.h"

#include <QXmlStreamReader>

namespace Sondrix
{

bool readElementTexts(const QByteArray &xml, const QStringList &names,
                      const std::function<void(const QString &name, const QString &text)> &visit)
{
    QXmlStreamReader reader(xml);
    reader.setEntityExpansionLimit(maximumEntityCharacters);
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        const QString name = reader.name().toString();
        if (names.contains(name)) {
            visit(name, reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed());
        }
    }
    return !reader.hasError();
}

} // namespace Sondrix
