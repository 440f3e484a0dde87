#pragma once

#include <utility>

#include "multicast_peer.h"

/// The devices of an SSDP test.
class SsdpPeer : public MulticastPeer
{
public:
    static constexpr quint16 port = 1900;

    explicit SsdpPeer(Answers answers = {}) : MulticastPeer(port, std::move(answers)) {}
};
