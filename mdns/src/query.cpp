#include <qmdnsengine/query.h>

namespace QMdnsEngine
{

bool operator==(const Query &a, const Query &b)
{
    return a.m_name == b.m_name && a.m_type == b.m_type && a.m_unicastResponse == b.m_unicastResponse;
}

} // namespace QMdnsEngine
