#include <qmdnsengine/message.h>

namespace QMdnsEngine
{

bool operator==(const Message &a, const Message &b)
{
    return a.m_address == b.m_address && a.m_port == b.m_port && a.m_transactionId == b.m_transactionId &&
           a.m_isResponse == b.m_isResponse && a.m_isTruncated == b.m_isTruncated &&
           a.m_queries == b.m_queries && a.m_records == b.m_records;
}

} // namespace QMdnsEngine
