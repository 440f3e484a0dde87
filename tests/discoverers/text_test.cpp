#include "discoverers/text.h"

#include <QtTest>

using namespace Sondrix;

class TextTest : public QObject
{
    Q_OBJECT

private slots:
    void decodesUtf8_data();
    void decodesUtf8();
    void splitsAtBlanks_data();
    void splitsAtBlanks();
};

void TextTest::decodesUtf8_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    const QString nul(1, QChar(u'\0'));
    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("ASCII") << QByteArrayLiteral(" abc\r\n") << QStringLiteral(" abc\r\n");
    QTest::newRow("beyond ASCII") << QByteArrayLiteral("B\xc3\xbchne \xf0\x9f\x8e\xa5")
                                  << QString::fromUtf8("B\xc3\xbchne \xf0\x9f\x8e\xa5");
    QTest::newRow("NUL bytes") << QByteArrayLiteral("\0a\0b\0")
                               << QString(nul + QLatin1Char('a') + nul + QLatin1Char('b') + nul);
    QTest::newRow("broken") << QByteArrayLiteral("a\xff"
                                                 "b")
                            << QStringLiteral("a\ufffdb");
    QTest::newRow("cut off") << QByteArrayLiteral("a\xc3") << QStringLiteral("a\ufffd");
}

void TextTest::decodesUtf8()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);

    QCOMPARE(textFromUtf8(bytes), text);
}

void TextTest::splitsAtBlanks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("words");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("nothing") << QString() << QStringList();
    QTest::newRow("blanks alone") << QStringLiteral(" \t\r\n ") << QStringList();
    QTest::newRow("one word") << a << QStringList{a};
    QTest::newRow("two words") << QStringLiteral("a b") << QStringList{a, b};
    QTest::newRow("runs and ends") << QStringLiteral("  a   b ") << QStringList{a, b};
    QTest::newRow("tab") << QStringLiteral("a\tb") << QStringList{a, b};
    QTest::newRow("line ends") << QStringLiteral("\r\na\r\n\n b\n") << QStringList{a, b};
    QTest::newRow("same word twice") << QStringLiteral("a a") << QStringList{a, a};
    QTest::newRow("other marks stay") << QStringLiteral("a,b;c|d") << QStringList{QStringLiteral("a,b;c|d")};
}

void TextTest::splitsAtBlanks()
{
    QFETCH(QString, text);
    QFETCH(QStringList, words);

    QCOMPARE(splitAtBlanks(text), words);
}

QTEST_APPLESS_MAIN(TextTest)
#include "text_test.moc"
