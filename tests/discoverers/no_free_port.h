#pragma once

#include <QByteArray>
#include <QFile>
#include <QHostAddress>
#include <QUdpSocket>

/// While it lives, no UDP socket of the test's private network can get a port of the system's choice.
class NoFreePort
{
public:
    NoFreePort() : m_systemsRange(range())
    {
        m_isSet = setRange(QByteArrayLiteral("40000 40000")) &&
                  m_owner.bind(QHostAddress::AnyIPv4, 40000, QUdpSocket::DontShareAddress);
    }
    ~NoFreePort() { setRange(m_systemsRange); }

    Q_DISABLE_COPY_MOVE(NoFreePort)

    bool isSet() const { return m_isSet; }

private:
    static QString path() { return QStringLiteral("/proc/sys/net/ipv4/ip_local_port_range"); }

    /// A file for each use, as the kernel takes no write behind a read.
    static QByteArray range()
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static bool setRange(const QByteArray &range)
    {
        QFile file(path());
        return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(range) == range.size();
    }

    QByteArray m_systemsRange;
    QUdpSocket m_owner;
    bool m_isSet = false;
};
