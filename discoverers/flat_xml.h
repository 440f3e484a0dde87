#pragma once

#include <functional>

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace Sondrix
{

/// About the largest text, in characters, that an entity of a document may stand for. A reference to
/// one takes three characters or more, so that this keeps a small document from growing without
/// measure; Qt's own limit holds for one reference alone.
constexpr int maximumEntityCharacters = 32;

/// Walks an XML document without regard to its structure and calls visit(name, text) for each
/// element whose local name is in names, in document order, with its own text trimmed. Prefixes and
/// namespaces play no part, and the children of other elements are visited too. Returns false if
/// the reader found an error, also when visits were made before it.
bool readElementTexts(const QByteArray &xml, const QStringList &names,
                      const std::function<void(const QString &name, const QString &text)> &visit);

} // namespace Sondrix
