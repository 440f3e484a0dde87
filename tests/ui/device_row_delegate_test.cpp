#include "ui/device_row_delegate.h"

#include <QHelpEvent>
#include <QLabel>
#include <QListView>
#include <QStringListModel>
#include <QTextDocument>
#include <QToolTip>
#include <QtTest>

namespace
{

/// A list whose tool tips are its texts.
class TextModel : public QStringListModel
{
public:
    using QStringListModel::QStringListModel;

    QVariant data(const QModelIndex &index, int role) const override
    {
        return QStringListModel::data(index, role == Qt::ToolTipRole ? Qt::DisplayRole : role);
    }
};

QLabel *toolTipLabel()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window->inherits("QTipLabel") && window->isVisible()) {
            return qobject_cast<QLabel *>(window);
        }
    }
    return nullptr;
}

/// A list with one row, and the pointer resting there.
class HoveredList
{
public:
    explicit HoveredList(const QString &text)
    {
        m_model.setStringList(QStringList(text));
        m_list.setModel(&m_model);
        m_list.setItemDelegate(new DeviceRowDelegate(&m_list));
        m_list.show();
    }

    bool isExposed() { return QTest::qWaitForWindowExposed(&m_list); }
    QPoint row() const { return m_list.visualRect(m_model.index(0)).center(); }
    QPoint below() const { return QPoint(5, m_list.viewport()->height() - 2); }
    bool hasRowAt(const QPoint &point) const { return m_list.indexAt(point).isValid(); }

    /// Whether the list took the request for a tool tip as its own.
    bool askForToolTip(const QPoint &point)
    {
        QHelpEvent event(QEvent::ToolTip, point, m_list.viewport()->mapToGlobal(point));
        event.ignore();
        QApplication::sendEvent(m_list.viewport(), &event);
        return event.isAccepted();
    }

private:
    TextModel m_model;
    QListView m_list;
};

} // namespace

class DeviceRowDelegateTest : public QObject
{
    Q_OBJECT

private slots:
    void sizesAreThoseOfAnyList_data();
    void sizesAreThoseOfAnyList();
    void showsTheBeginningOfALongText_data();
    void showsTheBeginningOfALongText();
    void sizeOfALongTextIsThatOfItsBeginning();
    void remembersTheSizeOfAText();
    void followsTheFont();
    void showsToolTipsAsPlainText_data();
    void showsToolTipsAsPlainText();
    void showsTheBeginningOfALongToolTip();
    void showsNoToolTipBesideTheRows();
};

void DeviceRowDelegateTest::sizesAreThoseOfAnyList_data()
{
    QTest::addColumn<QString>("styleSheet");

    QTest::newRow("plain") << QString();
    QTest::newRow("padded") << QStringLiteral("QListView::item { padding: 3px; }");
}

void DeviceRowDelegateTest::sizesAreThoseOfAnyList()
{
    QFETCH(QString, styleSheet);
    QStringListModel model({QString(), QStringLiteral("Camera 1 (NDI)"), QStringLiteral("Камера 1"),
                            QStringLiteral("two\nlines"), QString(256, QLatin1Char('W')),
                            QStringLiteral("Camera 1 (NDI)")});
    QListView list;
    list.setStyleSheet(styleSheet);
    list.setModel(&model);
    QList<QSize> expected;
    for (int row = 0; row < model.rowCount(); ++row) {
        expected.append(list.sizeHintForIndex(model.index(row)));
    }
    DeviceRowDelegate delegate;
    list.setItemDelegate(&delegate);
    for (int pass = 0; pass < 2; ++pass) {
        for (int row = 0; row < model.rowCount(); ++row) {
            QCOMPARE(list.sizeHintForIndex(model.index(row)), expected.at(row));
        }
    }
}

void DeviceRowDelegateTest::showsTheBeginningOfALongText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");

    const QString ellipsis(QChar(0x2026));
    const QString camera = QString::fromUcs4(U"\U0001F3A5");
    const auto letters = [](int count) { return QString(count, QLatin1Char('W')); };
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("largest") << letters(256) << letters(256);
    QTest::newRow("one more") << letters(257) << letters(256) + ellipsis;
    QTest::newRow("very many") << letters(1000000) << letters(256) + ellipsis;
    QTest::newRow("pair at the end of the largest") << letters(254) + camera << letters(254) + camera;
    QTest::newRow("pair before the cut")
        << letters(254) + camera + letters(1) << letters(254) + camera + ellipsis;
    QTest::newRow("pair at the cut") << letters(255) + camera << letters(255) + ellipsis;
}

void DeviceRowDelegateTest::showsTheBeginningOfALongText()
{
    QFETCH(QString, text);
    QTEST(DeviceRowDelegate().displayText(text, QLocale()), "shown");
}

/// A pile of accents takes Qt minutes to lay out.
void DeviceRowDelegateTest::sizeOfALongTextIsThatOfItsBeginning()
{
    const QString accents(200000, QChar(0x0301));
    QStringListModel model(
        {QString(256, QLatin1Char('W')) + accents, QString(256, QLatin1Char('W')) + QChar(0x2026)});
    const DeviceRowDelegate delegate;
    const QStyleOptionViewItem option;
    QCOMPARE(delegate.sizeHint(option, model.index(0)), delegate.sizeHint(option, model.index(1)));
}

/// The size belongs to the text, so that a row asks the style anew for another one only.
void DeviceRowDelegateTest::remembersTheSizeOfAText()
{
    QStringListModel model(QStringList(QStringLiteral("Camera 1")));
    const DeviceRowDelegate delegate;
    QStyleOptionViewItem option;
    option.decorationSize = QSize(16, 16);
    const QSize size = delegate.sizeHint(option, model.index(0));
    // No row of a device list is told apart by this; it only shows whose size is given back.
    option.features = QStyleOptionViewItem::HasDecoration | QStyleOptionViewItem::HasCheckIndicator;
    QCOMPARE(delegate.sizeHint(option, model.index(0)), size);
    model.setData(model.index(0), QStringLiteral("A camera with a longer name"));
    QVERIFY(delegate.sizeHint(option, model.index(0)).width() > size.width());
}

void DeviceRowDelegateTest::followsTheFont()
{
    QStringListModel model(QStringList(QStringLiteral("Camera 1")));
    const DeviceRowDelegate delegate;
    const QStyledItemDelegate plain;
    QStyleOptionViewItem option;
    for (const int pointSize : {9, 30, 9}) {
        option.font.setPointSize(pointSize);
        option.fontMetrics = QFontMetrics(option.font);
        QCOMPARE(delegate.sizeHint(option, model.index(0)), plain.sizeHint(option, model.index(0)));
    }
}

void DeviceRowDelegateTest::showsToolTipsAsPlainText_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("no tags") << QStringLiteral("Camera 1 (NDI)\nndi\n192.0.2.1");
    QTest::newRow("angle brackets") << QStringLiteral("a < b & c > d\nndi\n");
    QTest::newRow("bold name") << QStringLiteral("<b>Camera</b> (NDI)\nndi\n192.0.2.1");
    QTest::newRow("image") << QStringLiteral("<img src=\"file:///share/x.png\"> (NDI)\nndi\n192.0.2.1");
    QTest::newRow("entity") << QStringLiteral("<i>&lt;Camera&gt;</i>");
}

void DeviceRowDelegateTest::showsToolTipsAsPlainText()
{
    QFETCH(QString, text);
    HoveredList list(text);
    QVERIFY(list.isExposed());
    QVERIFY(list.askForToolTip(list.row()));

    const QLabel *label = toolTipLabel();
    QVERIFY(label != nullptr);
    QTextDocument shown;
    if (Qt::mightBeRichText(label->text())) {
        shown.setHtml(label->text());
    } else {
        shown.setPlainText(label->text());
    }
    QCOMPARE(shown.toPlainText(), text);
    QVERIFY(!label->text().contains(QStringLiteral("<img")));
    QToolTip::hideText();
    QTRY_VERIFY(toolTipLabel() == nullptr);
}

void DeviceRowDelegateTest::showsTheBeginningOfALongToolTip()
{
    const QString text = QStringLiteral("long ").repeated(1000);
    HoveredList list(text);
    QVERIFY(list.isExposed());
    QVERIFY(list.askForToolTip(list.row()));
    const QLabel *label = toolTipLabel();
    QVERIFY(label != nullptr);
    QCOMPARE(label->text(), QString(text.left(1024) + QChar(0x2026)));
    QToolTip::hideText();
    QTRY_VERIFY(toolTipLabel() == nullptr);
}

void DeviceRowDelegateTest::showsNoToolTipBesideTheRows()
{
    HoveredList list(QStringLiteral("Camera 1"));
    QVERIFY(list.isExposed());
    QVERIFY(!list.hasRowAt(list.below()));
    list.askForToolTip(list.below());
    QVERIFY(toolTipLabel() == nullptr);
}

QTEST_MAIN(DeviceRowDelegateTest)
#include "device_row_delegate_test.moc"
