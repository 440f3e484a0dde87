#pragma once

#include <QObject>
#include <QString>

#include <qmdnsengine/message.h>

namespace QMdnsEngine
{

/// Sends and receives multicast DNS messages. It is the seam between the engine and the network.
class AbstractServer : public QObject
{
    Q_OBJECT

public:
    explicit AbstractServer(QObject *parent = nullptr);
    ~AbstractServer() override;

    /// Sends to the address and port of the message.
    virtual void sendMessage(const Message &message) = 0;

    /// Sends to the multicast DNS groups on every interface.
    virtual void sendMessageToAll(const Message &message) = 0;

signals:
    void messageReceived(const QMdnsEngine::Message &message);

    /// A part of the network cannot be used. The server goes on with the rest.
    void error(const QString &message);
};

} // namespace QMdnsEngine
