#include <algorithm>
#include <unistd.h>

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDesktopServices>
#include <QFile>
#include <QHelpEvent>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextFrame>
#include <QTimer>
#include <QToolTip>
#include <QtTest>

#include "core/device_discoverer.h"
#include "core/device_registry.h"
#include "core/discovery_manager.h"
#include "tests/network_text.h"
#include "ui/app_theme.h"
#include "ui/device_details.h"
#include "ui/device_list_model.h"
#include "ui/main_window.h"
#include <sys/inotify.h>

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::DiscoveryManager;
using Sondrix::EndpointRecord;
using Sondrix::IDeviceDiscoverer;

using Records = QList<DeviceRecord>;

namespace
{

Records recordsOnTheNetwork; // what the window's next pass finds

class FixedDiscoverer : public IDeviceDiscoverer
{
public:
    QString providerName() const override { return QStringLiteral("fixed"); }
    bool isAvailable() const override { return true; }
    Records scan(QString *) override { return recordsOnTheNetwork; }
};

/// Tells whether anyone opened a file.
class OpenWatch
{
public:
    explicit OpenWatch(const QString &path) : m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        m_isWatching = inotify_add_watch(m_descriptor, QFile::encodeName(path).constData(), IN_OPEN) >= 0;
    }
    ~OpenWatch() { close(m_descriptor); }
    Q_DISABLE_COPY_MOVE(OpenWatch)

    bool isWatching() const { return m_isWatching; }

    /// Whether there was an opening since the last call.
    bool hasSeenAnOpening() const
    {
        alignas(inotify_event) char events[4096];
        return read(m_descriptor, events, sizeof events) > 0;
    }

private:
    int m_descriptor;
    bool m_isWatching = false;
};

/// A device that says the same in every field.
DeviceRecord recordOf(const QString &text)
{
    DeviceRecord record;
    for (QString *field : {&record.displayName, &record.vendor, &record.model, &record.serial,
                           &record.firmware, &record.hostname, &record.provider, &record.protocol}) {
        *field = text;
    }
    record.id = QStringLiteral("own") + text;
    record.addresses = QStringList{text, QStringLiteral("192.0.2.1")};
    record.direction = Direction::inputOutput;
    record.firstSeen = record.lastSeen = record.lastChanged = QDateTime::currentDateTimeUtc();
    record.protocolData = QJsonObject{{text, text}};
    EndpointRecord endpoint;
    for (QString *field :
         {&endpoint.id, &endpoint.label, &endpoint.protocol, &endpoint.url, &endpoint.transport}) {
        *field = text;
    }
    endpoint.metadata = QVariantMap{{text, text}};
    record.endpoints.append(endpoint);
    endpoint.id.append(QStringLiteral("page"));
    endpoint.url = QStringLiteral("https://192.0.2.1/") + text;
    record.endpoints.append(endpoint);
    return record;
}

/// A text as QTextDocument::toRawText() gives it back: each line end, and what Qt itself marks frames
/// with, begins a paragraph.
QString asParagraphs(QString text)
{
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    for (QChar &c : text) {
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QChar(0xFDD0) || c == QChar(0xFDD1)) {
            c = QChar::ParagraphSeparator;
        }
    }
    return text;
}

/// Whether all of the document is in its default format, in one frame.
bool isUnformatted(const QTextDocument *document)
{
    const QVector<QTextFormat> formats = document->allFormats();
    const bool isPlain = std::all_of(formats.cbegin(), formats.cend(), [](const QTextFormat &format) {
        return (format.isCharFormat() || format.isBlockFormat() || format.isFrameFormat()) &&
               (!format.isCharFormat() || format.properties().isEmpty()) && !format.isTableFormat() &&
               !format.isImageFormat();
    });
    return isPlain && document->rootFrame()->childFrames().isEmpty() &&
           document->metaInformation(QTextDocument::DocumentTitle).isEmpty();
}

/// The letters, digits and signs of a text, in order: what a reader sees of it on any line.
QString visiblePart(const QString &text)
{
    QString visible;
    for (const QChar c : text) {
        if (c.isPrint() && !c.isSpace() && !c.isMark()) {
            visible += c;
        }
    }
    return visible;
}

/// The text of a tool tip as its label shows it.
QString shownText(const QString &toolTip)
{
    if (!Qt::mightBeRichText(toolTip)) {
        return toolTip;
    }
    QTextDocument document;
    document.setHtml(toolTip);
    return document.toPlainText();
}

} // namespace

/// In place of the program's own, which would search the network.
void DiscoveryManager::configureDiscoverers(const DiscoveryConfig &)
{
    addDiscoverer(new FixedDiscoverer);
}

class NetworkTextWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void watchSeesAnOpening();
    void windowShowsTheText_data();
    void windowShowsTheText();
    void menuCopiesTheText_data();
    void menuCopiesTheText();
    void onlyTheUserOpensAPage();

public slots:
    void openUrl(const QUrl &url) { m_openedUrls.append(url.toEncoded()); }

private:
    void addRows();
    void findDevices(const Records &records);
    QListView *view(ListSide side) const;
    QComboBox *combo(const char *name) const;
    QTextDocument *details() const { return m_window->findChild<QTextEdit *>()->document(); }
    QTextDocument *rawJson() const { return m_window->findChild<QPlainTextEdit *>()->document(); }
    QString toolTipOf(QListView *list, const QModelIndex &index);
    bool chooseInMenu(QListView *list, const QString &text);
    void checkRow(QListView *list, const QModelIndex &index, const DeviceRecord &record);
    void checkFixedTexts(const QString &text);

    QTemporaryDir m_directory;
    QByteArray m_picture; // path of an image, which HTML of the network names
    QScopedPointer<OpenWatch> m_watch;
    QScopedPointer<MainWindow> m_window;
    QList<QByteArray> m_openedUrls;
};

void NetworkTextWindowTest::initTestCase()
{
    applyAppTheme();
    const QString path = m_directory.filePath(QStringLiteral("picture.png"));
    QVERIFY(QImage(8, 8, QImage::Format_RGB32).save(path));
    m_picture = QFile::encodeName(path);
    m_watch.reset(new OpenWatch(path));
    QVERIFY(m_watch->isWatching());
    for (const char *scheme : {"http", "https", "file", "ftp", "data", "javascript", "mailto", "cast", "ndi",
                               "rtsp", "rtp", "ember", "onvif", "nmos"}) {
        QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), this, "openUrl");
    }
}

void NetworkTextWindowTest::init()
{
    m_openedUrls.clear();
    m_watch->hasSeenAnOpening();
    QApplication::clipboard()->setText(QStringLiteral("untouched"));
}

void NetworkTextWindowTest::cleanup()
{
    QToolTip::hideText();
    m_window.reset();
    recordsOnTheNetwork.clear();
}

void NetworkTextWindowTest::addRows()
{
    QTest::addColumn<QByteArray>("text");
    const QList<NetworkText> texts = networkTexts(m_picture);
    for (const NetworkText &text : texts) {
        if (text.bytes.size() < longTextBytes) {
            QTest::newRow(text.name) << text.bytes;
        }
    }
}

/// A window on the screen whose pass has found the devices.
void NetworkTextWindowTest::findDevices(const Records &records)
{
    recordsOnTheNetwork = records;
    m_window.reset(new MainWindow);
    m_window->show();
    QApplication::setActiveWindow(m_window.data());
    QVERIFY(QTest::qWaitForWindowActive(m_window.data()));
    m_window->startScan(false);
}

QListView *NetworkTextWindowTest::view(ListSide side) const
{
    const QString name = side == ListSide::Inputs ? QStringLiteral("Inputs") : QStringLiteral("Outputs");
    const QList<QListView *> views = m_window->findChildren<QListView *>();
    const auto found = std::find_if(views.cbegin(), views.cend(),
                                    [&](const QListView *list) { return list->accessibleName() == name; });
    return found == views.cend() ? nullptr : *found;
}

QComboBox *NetworkTextWindowTest::combo(const char *name) const
{
    const QList<QComboBox *> combos = m_window->findChildren<QComboBox *>();
    const auto found = std::find_if(combos.cbegin(), combos.cend(), [&](const QComboBox *candidate) {
        return candidate->accessibleName() == QLatin1String(name);
    });
    return found == combos.cend() ? nullptr : *found;
}

/// What the tool tip of a row says once the pointer rests on it.
QString NetworkTextWindowTest::toolTipOf(QListView *list, const QModelIndex &index)
{
    const QPoint point = list->visualRect(index).topLeft() + QPoint(2, 2);
    QHelpEvent event(QEvent::ToolTip, point, list->viewport()->mapToGlobal(point));
    QCoreApplication::sendEvent(list->viewport(), &event);
    QCoreApplication::processEvents();
    const QString text = QToolTip::text();
    QToolTip::hideText();
    return text;
}

/// Clicks an entry of the first row's menu. Returns whether there was one.
bool NetworkTextWindowTest::chooseInMenu(QListView *list, const QString &text)
{
    bool hasClicked = false;
    QTimer::singleShot(0, this, [&] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (menu == nullptr) {
            return;
        }
        const QList<QAction *> actions = menu->actions();
        for (QAction *action : actions) {
            if (action->text() == text) {
                QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier,
                                  menu->actionGeometry(action).center());
                hasClicked = true;
            }
        }
        menu->close();
    });
    const QPoint firstRow = list->visualRect(list->model()->index(0, 0)).topLeft() + QPoint(2, 2);
    m_window->showDeviceContextMenu(list, static_cast<DeviceListModel *>(list->model()), firstRow);
    return hasClicked;
}

void NetworkTextWindowTest::checkRow(QListView *list, const QModelIndex &index, const DeviceRecord &record)
{
    list->setFocus();
    list->setCurrentIndex(index);
    QCOMPARE(index.data().toString(), deviceListText(record));
    QCOMPARE(list->indexWidget(index), nullptr);
    QCOMPARE(details()->toRawText(), asParagraphs(deviceDetailsText(record)));
    for (const EndpointRecord &endpoint : record.endpoints) {
        const QStringList fields{endpoint.label, endpoint.protocol,
                                 Sondrix::directionName(endpoint.direction), endpoint.url};
        QVERIFY(details()->toRawText().contains(asParagraphs(fields.join(QStringLiteral(" | ")))));
    }
    QVERIFY(details()->toRawText().startsWith(QStringLiteral("Name: ") + asParagraphs(record.displayName)));
    QVERIFY(isUnformatted(details()));
    QCOMPARE(rawJson()->toRawText(), asParagraphs(deviceJsonText(record)));
    QVERIFY(isUnformatted(rawJson()));

    const QString wanted = index.data(Qt::ToolTipRole).toString();
    const QString toolTip = toolTipOf(list, index);
    QVERIFY(!toolTip.isEmpty());
    QCOMPARE(visiblePart(shownText(toolTip)), visiblePart(wanted));
}

/// Nothing but lists, inspector and filters holds what the network said.
void NetworkTextWindowTest::checkFixedTexts(const QString &text)
{
    const QList<QLabel *> labels = m_window->findChildren<QLabel *>();
    QVERIFY(!labels.isEmpty());
    for (const QLabel *label : labels) {
        if (label->inherits("QTipLabel")) {
            continue; // the last tool tip, on its way out
        }
        QVERIFY(!label->text().contains(text));
        QVERIFY(!Qt::mightBeRichText(label->text()));
    }
    const QList<QWidget *> widgets = m_window->findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        QVERIFY(!widget->toolTip().contains(text));
        QVERIFY(!widget->accessibleName().contains(text) && !widget->windowTitle().contains(text));
    }
    QCOMPARE(m_window->statusBar()->currentMessage(), QStringLiteral("Free edition - REST API disabled"));
    QCOMPARE(m_window->windowTitle(), QStringLiteral("CorvaneTVSondrix - www.corvane.example"));
}

void NetworkTextWindowTest::watchSeesAnOpening()
{
    QTextEdit edit;
    edit.setHtml(QString::fromLatin1("<img src=\"file://" + m_picture + "\">"));
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    edit.grab();
    QVERIFY(m_watch->hasSeenAnOpening());
    QVERIFY(!m_watch->hasSeenAnOpening());
    QVERIFY(!isUnformatted(edit.document()));
    for (const char *html : {"<b>a</b>", "<a href=\"x\">a</a>", "<table><tr><td>a</table>", "<h1>a</h1>"}) {
        edit.setHtml(QString::fromLatin1(html));
        QVERIFY(!isUnformatted(edit.document()));
    }
}

void NetworkTextWindowTest::windowShowsTheText_data()
{
    addRows();
}

void NetworkTextWindowTest::windowShowsTheText()
{
    QFETCH(QByteArray, text);
    const QString value = Sondrix::textFromUtf8(text);
    Records records{recordOf(value)};
    const QList<TextSource> sources = textSources();
    for (const TextSource &source : sources) {
        records += source.records(text);
    }
    findDevices(records);
    DeviceRegistry registry;
    for (const DeviceRecord &record : qAsConst(records)) {
        registry.addOrUpdate(record);
    }

    int shown = 0;
    auto *tabs = m_window->findChild<QTabWidget *>();
    for (const ListSide side : {ListSide::Inputs, ListSide::Outputs}) {
        QListView *list = view(side);
        for (int row = 0; row < list->model()->rowCount(); ++row) {
            const QModelIndex index = list->model()->index(row, 0);
            const DeviceRecord record =
                registry.record(index.data(DeviceListModel::StableKeyRole).toString());
            QVERIFY(Sondrix::hasStableKey(record));
            tabs->setCurrentIndex(row % tabs->count());
            checkRow(list, index, record);
            if (QTest::currentTestFailed()) {
                return;
            }
            ++shown;
        }
    }
    int expected = 0;
    registry.visitRecords([&](const QString &, const DeviceRecord &record) {
        expected += record.direction == Direction::controlOnly ? 0 : 1;
        expected += record.direction == Direction::inputOutput ? 1 : 0;
    });
    QCOMPARE(shown, expected);
    checkFixedTexts(value);
    if (QTest::currentTestFailed()) {
        return;
    }

    for (const char *name : {"Protocol filter", "Provider filter"}) {
        QComboBox *filter = combo(name);
        const int choice = filter->findText(value, Qt::MatchFixedString | Qt::MatchCaseSensitive);
        QVERIFY(choice > 0);
        filter->setCurrentIndex(choice);
        QCOMPARE(view(ListSide::Inputs)->model()->rowCount(), 1);
        filter->showPopup();
        QCoreApplication::processEvents();
        filter->hidePopup();
        filter->setCurrentIndex(0);
    }
    m_window->findChild<QLineEdit *>()->setText(value);
    m_window->grab();
    QCoreApplication::processEvents();
    QVERIFY(!m_watch->hasSeenAnOpening());
    QCOMPARE(m_openedUrls, QList<QByteArray>());
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("untouched"));
}

void NetworkTextWindowTest::menuCopiesTheText_data()
{
    addRows();
}

void NetworkTextWindowTest::menuCopiesTheText()
{
    QFETCH(QByteArray, text);
    const DeviceRecord record = recordOf(Sondrix::textFromUtf8(text));
    findDevices({record});
    QListView *list = view(ListSide::Inputs);
    const DeviceRecord shown =
        static_cast<DeviceListModel *>(list->model())->recordAt(list->model()->index(0, 0));
    const QMap<QString, QString> entries{
        {QStringLiteral("Copy Primary URL"), Sondrix::primaryEndpointUrl(shown)},
        {QStringLiteral("Copy All URLs"), Sondrix::allEndpointUrls(shown).join(QLatin1Char('\n'))},
        {QStringLiteral("Copy Device JSON"), deviceJsonText(shown)},
    };
    QVERIFY(!entries.first().isEmpty());
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        QVERIFY(chooseInMenu(list, it.key()));
        const QMimeData *copied = QApplication::clipboard()->mimeData();
        QCOMPARE(copied->text(), it.value());
        QCOMPARE(copied->formats(), QStringList{QStringLiteral("text/plain")});
    }
    QCOMPARE(m_openedUrls, QList<QByteArray>());
    QVERIFY(!m_watch->hasSeenAnOpening());
}

void NetworkTextWindowTest::onlyTheUserOpensAPage()
{
    DeviceRecord record = recordOf(QStringLiteral("https://192.0.2.66/"));
    for (const QString &url :
         {QStringLiteral("javascript:alert(1)"), QString::fromUtf8("file://" + m_picture)}) {
        EndpointRecord endpoint;
        endpoint.url = url;
        record.endpoints.prepend(endpoint);
    }
    findDevices({record});
    QListView *list = view(ListSide::Inputs);
    const QPoint point = list->visualRect(list->model()->index(0, 0)).topLeft() + QPoint(2, 2);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, point);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, point);
    QTest::keyClick(list, Qt::Key_Return);
    auto *edit = m_window->findChild<QTextEdit *>();
    for (int y = 2; y < edit->viewport()->height(); y += 10) {
        QTest::mouseClick(edit->viewport(), Qt::LeftButton, Qt::ControlModifier, QPoint(60, y));
        QCOMPARE(edit->anchorAt(QPoint(60, y)), QString());
    }
    QCOMPARE(m_openedUrls, QList<QByteArray>());

    QVERIFY(chooseInMenu(list, QStringLiteral("Open Device Web UI")));
    QCOMPARE(m_openedUrls, QList<QByteArray>{QByteArrayLiteral("https://192.0.2.66/")});
    QVERIFY(!m_watch->hasSeenAnOpening());
}

QTEST_MAIN(NetworkTextWindowTest)
#include "network_text_window_test.moc"
