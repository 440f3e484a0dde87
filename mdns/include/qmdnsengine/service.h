#pragma once

#include <QByteArray>
#include <QMap>
#include <QMetaType>

namespace QMdnsEngine
{

/// One instance of a service (RFC 6763, 4.1).
class Service
{
public:
    /// The service type with its domain, "_http._tcp.local.".
    QByteArray type() const { return m_type; }
    void setType(const QByteArray &type) { m_type = type; }

    /// The instance label in front of the type.
    QByteArray name() const { return m_name; }
    void setName(const QByteArray &name) { m_name = name; }

    /// The host that offers the service, with its trailing dot; empty if that is the root name.
    QByteArray hostname() const { return m_hostname; }
    void setHostname(const QByteArray &hostname) { m_hostname = hostname; }

    quint16 port() const { return m_port; }
    void setPort(quint16 port) { m_port = port; }

    /// The keys and values of the TXT record (RFC 6763, 6.4). A key that stood without "=" has a
    /// null value.
    QMap<QByteArray, QByteArray> attributes() const { return m_attributes; }
    void setAttributes(const QMap<QByteArray, QByteArray> &attributes) { m_attributes = attributes; }
    void addAttribute(const QByteArray &key, const QByteArray &value) { m_attributes.insert(key, value); }

    /// Whether all fields are equal, letter case included.
    friend bool operator==(const Service &a, const Service &b);
    friend bool operator!=(const Service &a, const Service &b) { return !(a == b); }

private:
    QByteArray m_type;
    QByteArray m_name;
    QByteArray m_hostname;
    quint16 m_port = 0;
    QMap<QByteArray, QByteArray> m_attributes;
};

} // namespace QMdnsEngine

Q_DECLARE_METATYPE(QMdnsEngine::Service)
