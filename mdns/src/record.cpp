#include <algorithm>

#include <qmdnsengine/record.h>

namespace QMdnsEngine
{

bool Record::bitmapHolds(quint16 type) const
{
    const int octet = type / 8;
    return octet < m_bitmap.size() && (uchar(m_bitmap.at(octet)) & (0x80 >> type % 8)) != 0;
}

bool operator==(const Record &a, const Record &b)
{
    // A QByteArray takes null and empty for equal, a TXT string "key" and one "key=" are not.
    const auto sameNullness = [](const QByteArray &x, const QByteArray &y) {
        return x.isNull() == y.isNull();
    };
    return a.m_name == b.m_name && a.m_type == b.m_type && a.m_flushCache == b.m_flushCache &&
           a.m_ttl == b.m_ttl && a.m_address == b.m_address && a.m_target == b.m_target &&
           a.m_nextDomainName == b.m_nextDomainName && a.m_priority == b.m_priority &&
           a.m_weight == b.m_weight && a.m_port == b.m_port && a.m_attributes == b.m_attributes &&
           std::equal(a.m_attributes.cbegin(), a.m_attributes.cend(), b.m_attributes.cbegin(),
                      sameNullness) &&
           a.m_bitmap == b.m_bitmap;
}

} // namespace QMdnsEngine
