#pragma once

#include <QtTest>

#include "core/device_record.h"

/// Compares every field of a record and of its endpoints but the times.
inline void compareRecords(const Sondrix::DeviceRecord &actual, const Sondrix::DeviceRecord &expected)
{
    QCOMPARE(actual.id, expected.id);
    QCOMPARE(actual.displayName, expected.displayName);
    QCOMPARE(actual.vendor, expected.vendor);
    QCOMPARE(actual.model, expected.model);
    QCOMPARE(actual.serial, expected.serial);
    QCOMPARE(actual.firmware, expected.firmware);
    QCOMPARE(actual.hostname, expected.hostname);
    QCOMPARE(actual.addresses, expected.addresses);
    QCOMPARE(actual.provider, expected.provider);
    QCOMPARE(actual.protocol, expected.protocol);
    QCOMPARE(actual.direction, expected.direction);
    QCOMPARE(actual.mediaKinds, expected.mediaKinds);
    QCOMPARE(actual.protocolData, expected.protocolData);
    QCOMPARE(actual.requiresAuth, expected.requiresAuth);
    QCOMPARE(actual.online, expected.online);
    QCOMPARE(actual.ttlSeconds, expected.ttlSeconds);
    QCOMPARE(actual.endpoints.size(), expected.endpoints.size());
    for (int i = 0; i < expected.endpoints.size(); ++i) {
        const Sondrix::EndpointRecord &endpoint = actual.endpoints.at(i);
        const Sondrix::EndpointRecord &wanted = expected.endpoints.at(i);
        QCOMPARE(endpoint.id, wanted.id);
        QCOMPARE(endpoint.label, wanted.label);
        QCOMPARE(endpoint.protocol, wanted.protocol);
        QCOMPARE(endpoint.url, wanted.url);
        QCOMPARE(endpoint.direction, wanted.direction);
        QCOMPARE(endpoint.mediaKinds, wanted.mediaKinds);
        QCOMPARE(endpoint.transport, wanted.transport);
        QCOMPARE(endpoint.metadata, wanted.metadata);
    }
}

/// Checks that one UTC time, not before earliest and not after now, stands in every time field.
inline void verifyOneTime(const Sondrix::DeviceRecord &record, const QDateTime &earliest)
{
    QVERIFY(record.firstSeen.isValid());
    QCOMPARE(record.firstSeen.timeSpec(), Qt::UTC);
    QVERIFY(record.firstSeen >= earliest);
    QVERIFY(record.firstSeen <= QDateTime::currentDateTimeUtc());
    QCOMPARE(record.lastSeen, record.firstSeen);
    QCOMPARE(record.lastChanged, record.firstSeen);
    for (const Sondrix::EndpointRecord &endpoint : record.endpoints) {
        QCOMPARE(endpoint.lastSeen, record.firstSeen);
        QCOMPARE(endpoint.lastSeen.timeSpec(), Qt::UTC);
    }
}
