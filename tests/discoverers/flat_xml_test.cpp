#include "discoverers/flat_xml.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QUrl>
#include <QtTest>

using namespace Sondrix;

class FlatXmlTest : public QObject
{
    Q_OBJECT

private slots:
    void visits_data();
    void visits();
    void findsErrors_data();
    void findsErrors();
    void readsEncodings_data();
    void readsEncodings();
    void readsNoExternalFile_data();
    void readsNoExternalFile();
    void visitsBeforeAnError();
    void visitsNothingWithoutNames();
    void survivesDepth_data();
    void survivesDepth();
    void survivesEveryCut();
    void readsHugeText();
};

namespace
{

/// The visits to elements a and b, as "name=text"; *isWellFormed is what the walk returned.
QStringList visitsOf(const QByteArray &xml, bool *isWellFormed)
{
    QStringList visits;
    *isWellFormed = readElementTexts(xml, {QStringLiteral("a"), QStringLiteral("b")},
                                     [&visits](const QString &name, const QString &text) {
                                         visits.append(QString(name + QLatin1Char('=') + text));
                                     });
    return visits;
}

} // namespace

void FlatXmlTest::visits_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("visits"); // each but the last followed by a vertical line

    const auto row = [](const char *name, const char *xml, const char *visits) {
        QTest::newRow(name) << QByteArray(xml) << QString::fromUtf8(visits);
    };
    row("document order", "<r><b>1</b><a>2</a><b>3</b></r>", "b=1|a=2|b=3");
    row("root itself", "<a>1</a>", "a=1");
    row("any depth", "<r><x><y><a>1</a></y></x><a>2</a></r>", "a=1|a=2");
    row("none of them", "<r><c>1</c></r>", "");
    row("other letter case", "<r><A>1</A><a>2</a></r>", "a=2");
    row("longer and shorter names", "<r><aa>1</aa><ab>2</ab></r>", "");
    row("empty element", "<r><a/></r>", "a=");
    row("empty text", "<r><a></a></r>", "a=");
    row("white space alone", "<r><a> \t\r\n</a></r>", "a=");
    row("no-break space alone", "<r><a>\xc2\xa0</a></r>", "a=");
    row("trimmed at both ends", "<r><a>\n\t one  two \r\n</a></r>", "a=one  two");
    row("text of children left out", "<r><a>1<c>2</c>3<c/>4</a></r>", "a=134");
    row("names inside a visited element", "<r><a>1<b>2</b><a>3</a></a><b>4</b></r>", "a=1|b=4");
    row("attributes", "<r a='1'><a b='2' id=\"3\">4</a></r>", "a=4");
    row("CDATA", "<r><a>1<![CDATA[<b>&amp;</b>]]>2</a></r>", "a=1<b>&amp;</b>2");
    row("comment inside the text", "<r><a>1<!-- <b>2</b> -->3</a></r>", "a=13");
    row("comment outside", "<!-- x --><r><!-- <a>1</a> --><a>2</a></r><!-- y -->", "a=2");
    row("processing instruction", "<r><?a b?><a>1<?c d?>2</a></r>", "a=12");
    row("predefined entities", "<r><a>&lt;&gt;&amp;&quot;&apos;</a></r>", "a=<>&\"'");
    row("numbered characters", "<r><a>&#65;&#x42;&#xfc;&#x1F4FA;</a></r>", "a=AB\xc3\xbc\xf0\x9f\x93\xba");
    row("numbered white space trimmed", "<r><a>&#32;&#10;1&#9;</a></r>", "a=1");
    row("DOCTYPE", "<!DOCTYPE r><r><a>1</a></r>", "a=1");
    row("entity of the document", "<!DOCTYPE r [<!ENTITY e 'x'>]><r><a>&e;y</a></r>", "a=xy");
    row("entity of a name's length",
        "<!DOCTYPE r [<!ENTITY e '12345678901234567890123456789012'>]><r><a>&e;</a></r>",
        "a=12345678901234567890123456789012");
    row("default namespace", "<r xmlns='urn:x'><a>1</a></r>", "a=1");
    row("prefix on every element", "<p:r xmlns:p='urn:x'><p:a>1</p:a><p:b>2</p:b></p:r>", "a=1|b=2");
    row("different namespaces", "<r xmlns='urn:x' xmlns:p='urn:y'><p:a>1</p:a><a>2</a></r>", "a=1|a=2");
    row("prefix of a visited name", "<a:r xmlns:a='urn:x'><a:c>1</a:c></a:r>", "");
    row("declaration", "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<r><a>1</a></r>\r\n", "a=1");
    row("byte-order mark", "\xef\xbb\xbf<r><a>1</a></r>", "a=1");
    row("white space behind the root", "<r><a>1</a></r> \r\n\t\n", "a=1");
    row("place-holders", "<r><a>%1 %2</a></r>", "a=%1 %2");
    row("text beyond ASCII", "<r><a>B\xc3\xbcro</a></r>", "a=B\xc3\xbcro");
}

void FlatXmlTest::visits()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, visits);

    bool isWellFormed = false;
    QCOMPARE(visitsOf(xml, &isWellFormed).join(QLatin1Char('|')), visits);
    QVERIFY(isWellFormed);
}

void FlatXmlTest::findsErrors_data()
{
    QTest::addColumn<QByteArray>("xml");

    const auto row = [](const char *name, const QByteArray &xml) { QTest::newRow(name) << xml; };
    row("empty", "");
    row("white space alone", " \r\n");
    row("text alone", "not found");
    row("byte-order mark alone", "\xef\xbb\xbf");
    row("declaration alone", "<?xml version=\"1.0\"?>");
    row("comment alone", "<!-- x -->");
    row("text before the root", "x<r><a>1</a></r>");
    row("text behind the root", "<r><a>1</a></r>x");
    row("second root", "<r><a>1</a></r><r/>");
    row("white space before the declaration", " <?xml version=\"1.0\"?><r><a>1</a></r>");
    row("root not closed", "<r><a>1</a>");
    row("ends inside a visited element", "<r><a>1");
    row("ends inside a tag", "<r><a>1</a></r");
    row("ends inside a name", "<r><a>1</");
    row("ends inside a comment", "<r><a>1</a></r><!-- ");
    row("ends inside CDATA", "<r><a><![CDATA[1");
    row("tags crossed", "<r><a>1</r></a>");
    row("end tag in another letter case", "<r><a>1</A></r>");
    row("end tag alone", "</r>");
    row("undeclared prefix", "<r><p:a>1</p:a></r>");
    row("undeclared prefix behind good elements", "<r><a>1</a><p:c/></r>");
    row("undeclared prefix of an attribute", "<r><a p:c='1'>1</a></r>");
    row("prefix out of scope", "<r><x xmlns:p='urn:x'/><p:a>1</p:a></r>");
    row("unknown entity", "<r><a>&nbsp;</a></r>");
    row("ampersand alone", "<r><a>R & B</a></r>");
    row("less-than sign in the text", "<r><a>1 < 2</a></r>");
    row("attribute without quotation marks", "<r><a b=1>1</a></r>");
    row("attribute twice", "<r><a b='1' b='2'>1</a></r>");
    row("NUL in the text", QByteArray("<r><a>1#2</a></r>").replace('#', '\0'));
    row("NUL behind the root", QByteArray("<r><a>1</a></r>#x").replace('#', '\0'));
    row("control character", "<r><a>\x01</a></r>");
    row("numbered NUL", "<r><a>&#0;</a></r>");
    row("broken UTF-8", "<r><a>\xff\xfe</a></r>");
    row("UTF-8 broken off", "<r><a>\xc3</a></r>");
    row("unknown encoding", "<?xml version='1.0' encoding='x-none'?><r><a>1</a></r>");
    row("HTML", "<html><head><meta><a>1</a></head></html>");
    row("JSON", "{\"a\": 1}");
    row("entity that calls itself", "<!DOCTYPE r [<!ENTITY e '&e;'>]><r><a>&e;</a></r>");

    QByteArray bomb("<!DOCTYPE r [<!ENTITY e0 'xxxxxxxxxx'>");
    for (int i = 1; i < 10; ++i) {
        bomb += "<!ENTITY e" + QByteArray::number(i) + " '";
        for (int j = 0; j < 10; ++j) {
            bomb += "&e" + QByteArray::number(i - 1) + ";";
        }
        bomb += "'>";
    }
    row("entity that is too large",
        "<!DOCTYPE r [<!ENTITY e '" + QByteArray(40, 'x') + "'>]><r><a>&e;</a></r>");
    row("entities that grow without measure", bomb + "]><r><a>&e9;</a></r>");
}

void FlatXmlTest::findsErrors()
{
    QFETCH(QByteArray, xml);

    bool isWellFormed = true;
    visitsOf(xml, &isWellFormed);
    QVERIFY(!isWellFormed);
}

void FlatXmlTest::readsEncodings_data()
{
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<bool>("hasMark");
    QTest::addColumn<QString>("declaration");

    QTest::newRow("UTF-8 with mark") << QByteArray("UTF-8") << true << QString();
    QTest::newRow("UTF-16, little end first") << QByteArray("UTF-16LE") << true << QString();
    QTest::newRow("UTF-16, big end first") << QByteArray("UTF-16BE") << true << QString();
    QTest::newRow("UTF-16, declared")
        << QByteArray("UTF-16LE") << true << QStringLiteral("<?xml version='1.0' encoding='UTF-16'?>");
    QTest::newRow("Latin 1, declared")
        << QByteArray("ISO-8859-1") << false << QStringLiteral("<?xml version='1.0' encoding='ISO-8859-1'?>");
}

void FlatXmlTest::readsEncodings()
{
    QFETCH(QByteArray, codec);
    QFETCH(bool, hasMark);
    QFETCH(QString, declaration);

    QString text = declaration + QStringLiteral("<r><a>B\u00fcro</a></r>");
    if (hasMark) {
        text.prepend(QChar(QChar::ByteOrderMark));
    }
    const QTextCodec *const encoding = QTextCodec::codecForName(codec);
    QVERIFY(encoding != nullptr);
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    bool isWellFormed = false;
    QCOMPARE(visitsOf(encoding->fromUnicode(text.constData(), text.size(), &state), &isWellFormed),
             QStringList{QStringLiteral("a=B\u00fcro")});
    QVERIFY(isWellFormed);
}

void FlatXmlTest::readsNoExternalFile_data()
{
    QTest::addColumn<QByteArray>("xml"); // %1 is the URL of a file that exists

    QTest::newRow("external entity") << QByteArray("<!DOCTYPE r [<!ENTITY e SYSTEM '%1'>]><r><a>&e;</a></r>");
    QTest::newRow("external parameter entity")
        << QByteArray("<!DOCTYPE r [<!ENTITY % e SYSTEM '%1'> %e;]><r><a>&secret;</a></r>");
    QTest::newRow("external DTD") << QByteArray("<!DOCTYPE r SYSTEM '%1'><r><a>&secret;</a></r>");
}

void FlatXmlTest::readsNoExternalFile()
{
    QFETCH(QByteArray, xml);

    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("file.dtd")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("<!ENTITY secret 'secret'>") > 0);
    file.close();
    xml.replace("%1", QUrl::fromLocalFile(file.fileName()).toEncoded());

    bool isWellFormed = false;
    const QStringList visits = visitsOf(xml, &isWellFormed);
    QVERIFY2(!visits.join(QLatin1Char('|')).contains(QLatin1String("secret'")) &&
                 !visits.contains(QLatin1String("a=secret")),
             qPrintable(visits.join(QLatin1Char('|'))));
}

void FlatXmlTest::visitsBeforeAnError()
{
    bool isWellFormed = true;
    QCOMPARE(visitsOf("<r><a>1</a><b>2</b>", &isWellFormed),
             (QStringList{QStringLiteral("a=1"), QStringLiteral("b=2")}));
    QVERIFY(!isWellFormed);
}

void FlatXmlTest::visitsNothingWithoutNames()
{
    int visits = 0;
    const auto count = [&visits](const QString &, const QString &) { ++visits; };
    QVERIFY(readElementTexts("<r><a>1</a></r>", {}, count));
    QVERIFY(!readElementTexts("<r><a>1</a>", {}, count));
    QCOMPARE(visits, 0);
}

void FlatXmlTest::survivesDepth_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("isClosed");

    QTest::newRow("visited elements") << QByteArray("a") << true;
    QTest::newRow("other elements") << QByteArray("c") << true;
    QTest::newRow("visited elements, not closed") << QByteArray("a") << false;
    QTest::newRow("other elements, not closed") << QByteArray("c") << false;
}

void FlatXmlTest::survivesDepth()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, isClosed);

    constexpr int depth = 60000;
    QByteArray xml = QByteArray("<" + name + ">").repeated(depth);
    if (isClosed) {
        xml += QByteArray("</" + name + ">").repeated(depth);
    }
    bool isWellFormed = !isClosed;
    visitsOf(xml, &isWellFormed);
    QCOMPARE(isWellFormed, isClosed);
}

void FlatXmlTest::survivesEveryCut()
{
    const QByteArray xml("<?xml version='1.0'?><!DOCTYPE r [<!ENTITY e 'x'>]>"
                         "<p:r xmlns:p='urn:x'><p:a b='1'>&e;&#65;<![CDATA[c]]><!-- d --></p:a></p:r>");
    for (int size = 0; size < xml.size(); ++size) {
        bool isWellFormed = true;
        visitsOf(xml.left(size), &isWellFormed);
        QVERIFY2(!isWellFormed, xml.left(size).constData());
    }
}

void FlatXmlTest::readsHugeText()
{
    bool isWellFormed = false;
    const QStringList visits = visitsOf("<r><a>" + QByteArray(500000, 'x') + "</a></r>", &isWellFormed);
    QVERIFY(isWellFormed);
    QCOMPARE(visits.size(), 1);
    QCOMPARE(visits.first().size(), 500002);
}

QTEST_GUILESS_MAIN(FlatXmlTest)
#include "flat_xml_test.moc"
