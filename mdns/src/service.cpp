#include <qmdnsengine/service.h>

namespace QMdnsEngine
{

bool operator==(const Service &a, const Service &b)
{
    return a.m_type == b.m_type && a.m_name == b.m_name && a.m_hostname == b.m_hostname &&
           a.m_port == b.m_port && a.m_attributes == b.m_attributes;
}

} // namespace QMdnsEngine
