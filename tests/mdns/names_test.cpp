#include "names.h"

#include <QtTest>

class NamesTest : public QObject
{
    Q_OBJECT

private slots:
    void foldsName_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("folded");
        QTest::newRow("empty") << QByteArray() << QByteArray();
        QTest::newRow("lower case") << QByteArray("camera 1._http._tcp.local.")
                                    << QByteArray("camera 1._http._tcp.local.");
        QTest::newRow("upper case") << QByteArray("AZ._HTTP._TCP.Local.")
                                    << QByteArray("az._http._tcp.local.");
        QTest::newRow("around the letters") << QByteArray("@[`{") << QByteArray("@[`{");
        QTest::newRow("Latin-1 and UTF-8")
            << QByteArray("\xc4\xc3\x9c\xff") << QByteArray("\xc4\xc3\x9c\xff");
        QTest::newRow("null byte") << QByteArray("A\0B", 3) << QByteArray("a\0b", 3);
    }

    void foldsName()
    {
        QFETCH(QByteArray, name);
        QTEST(QMdnsEngine::foldedName(name), "folded");
    }
};

QTEST_APPLESS_MAIN(NamesTest)
#include "names_test.moc"
