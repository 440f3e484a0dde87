#pragma once

#include <qmdnsengine/abstractserver.h>

namespace QMdnsEngine
{

class ServerPrivate;

/// The multicast DNS server on UDP port 5353, IPv4 and IPv6, of every interface that is up and can
/// multicast when it is constructed. It shares the port with other programs of the host. An error
/// of the constructor is emitted from the event loop.
class Server : public AbstractServer
{
    Q_OBJECT

public:
    explicit Server(QObject *parent = nullptr);
    ~Server() override;

    void sendMessage(const Message &message) override;
    void sendMessageToAll(const Message &message) override;

private:
    ServerPrivate *const m_private;
};

} // namespace QMdnsEngine
