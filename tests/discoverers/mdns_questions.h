#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QUdpSocket>
#include <QtTest>

#include "mdns_responder.h"

/// What a responder was asked by now, all of it: the end is marked by a question of the test's own.
/// Nothing where that question does not arrive.
inline QList<DnsQuestion> questionsSoFar(const MdnsResponder &responder)
{
    const QByteArray sentinel("\0\0\0\0\0\1\0\0\0\0\0\0\3end\0\0\1\0\1", 21);
    const int earlier = responder.count({"end"}, A);
    QUdpSocket socket;
    socket.writeDatagram(sentinel, QHostAddress::LocalHost, MdnsResponder::port);
    if (!QTest::qWaitFor([&]() { return responder.count({"end"}, A) > earlier; })) {
        return {};
    }
    QList<DnsQuestion> questions = responder.questions();
    questions.removeLast();
    return questions;
}
