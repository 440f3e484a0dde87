#include "names.h"

#include <algorithm>

namespace QMdnsEngine
{

QByteArray foldedName(const QByteArray &name)
{
    const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    if (std::none_of(name.cbegin(), name.cend(), isUpper)) {
        return name;
    }
    QByteArray folded = name;
    // QByteArray::toLower() would change the bytes of Latin-1 letters, too.
    std::transform(name.cbegin(), name.cend(), folded.begin(),
                   [&](char c) { return isUpper(c) ? char(c + ('a' - 'A')) : c; });
    return folded;
}

} // namespace QMdnsEngine
