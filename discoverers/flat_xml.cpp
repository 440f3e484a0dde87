#include "discoverers/flat_xml.h"

#include <QXmlStreamReader>

namespace Sondrix
{

namespace
{

/// The largest text that an entity may stand for. A reference to one takes three characters or more,
/// so that this is what keeps a small document from growing without measure.
constexpr int maxEntityCharacters = 32;

} // namespace

bool readElementTexts(const QByteArray &xml, const QStringList &names,
                      const std::function<void(const QString &name, const QString &text)> &visit)
{
    QXmlStreamReader reader(xml);
    reader.setEntityExpansionLimit(maxEntityCharacters);
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
