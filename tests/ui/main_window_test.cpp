#include "ui/main_window.h"

#include <functional>
#include <utility>

#include <QAbstractEventDispatcher>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDesktopServices>
#include <QEventLoop>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QSplitter>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTextDocument>
#include <QTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QToolTip>
#include <QTranslator>
#include <QVBoxLayout>
#include <QtTest>

#include "core/device_discoverer.h"
#include "core/discovery_config.h"
#include "ui/app_theme.h"
#include "ui/device_list_model.h"
#include "ui/product_ad_rotator.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::DiscoveryConfig;
using Sondrix::DiscoveryManager;
using Sondrix::EndpointRecord;
using Sondrix::IDeviceDiscoverer;
using Sondrix::MediaKind;

using Action = std::function<void()>;
using Devices = QList<DeviceRecord>;

Q_DECLARE_METATYPE(Devices)

/// Where Qt's platforms hand in what the user does. Qt 5.15 exports it without a public header.
class QWindowSystemInterface
{
public:
    struct AsynchronousDelivery {
    };
    template<typename Delivery>
    static bool handleMouseEvent(QWindow *window, ulong timestamp, const QPointF &local,
                                 const QPointF &global, Qt::MouseButtons state, Qt::MouseButton button,
                                 QEvent::Type type, Qt::KeyboardModifiers modifiers,
                                 Qt::MouseEventSource source);
};

namespace
{

constexpr int activityResetMs = 2500;
constexpr int firstPassMs = 1000;
constexpr int patienceMs = 20000; // only a window that hangs takes that long

/// A provider whose behaviour the test writes.
class ScriptedDiscoverer : public IDeviceDiscoverer
{
public:
    QString providerName() const override { return QStringLiteral("scripted"); }
    bool isAvailable() const override { return true; }

    QList<DeviceRecord> scan(QString *error) override
    {
        ++scanCount;
        return script ? script(error) : QList<DeviceRecord>();
    }

    std::function<QList<DeviceRecord>(QString *error)> script;
    int scanCount = 0;
};

QList<ScriptedDiscoverer *> nextDiscoverers;   // what the next window's manager gets
QList<DiscoveryConfig> configurationsAskedFor; // by the windows

} // namespace

/// In place of the program's own, which would search the network.
void DiscoveryManager::configureDiscoverers(const DiscoveryConfig &config)
{
    configurationsAskedFor.append(config);
    const QList<ScriptedDiscoverer *> discoverers = std::exchange(nextDiscoverers, {});
    for (ScriptedDiscoverer *discoverer : discoverers) {
        addDiscoverer(discoverer);
    }
}

namespace
{

DeviceRecord device(const QString &id, Direction direction = Direction::inputOutput)
{
    DeviceRecord record;
    record.id = id;
    record.displayName = id;
    record.protocol = QStringLiteral("ndi");
    record.provider = QStringLiteral("ndi");
    record.direction = direction;
    return record;
}

DeviceRecord device(const char *id, Direction direction = Direction::inputOutput)
{
    return device(QString::fromLatin1(id), direction);
}

DeviceRecord offline(DeviceRecord record)
{
    record.online = false;
    return record;
}

DeviceRecord withProtocol(DeviceRecord record, const QString &protocol, const QString &provider)
{
    record.protocol = protocol;
    record.provider = provider;
    return record;
}

DeviceRecord withUrls(DeviceRecord record, const QStringList &urls)
{
    for (const QString &url : urls) {
        EndpointRecord endpoint;
        endpoint.id = record.id + QStringLiteral(":") + QString::number(record.endpoints.size());
        endpoint.label = QStringLiteral("Stream");
        endpoint.protocol = QStringLiteral("rtsp");
        endpoint.url = url;
        record.endpoints.append(endpoint);
    }
    return record;
}

QString keyOf(const char *id)
{
    return QStringLiteral("device-id:") + QString::fromLatin1(id);
}

/// What the window waits with before its first pass.
QList<QObject *> firstPassTimers()
{
    QList<QObject *> timers;
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    for (QObject *child : dispatcher->children()) {
        const QList<QAbstractEventDispatcher::TimerInfo> infos = dispatcher->registeredTimers(child);
        if (child->inherits("QSingleShotTimer") && infos.size() == 1 &&
            infos.first().interval == firstPassMs) {
            timers.append(child);
        }
    }
    return timers;
}

QStringList texts(const QComboBox *combo)
{
    QStringList items;
    for (int i = 0; i < combo->count(); ++i) {
        items.append(combo->itemText(i));
    }
    return items;
}

QStringList texts(const QMenu *menu)
{
    QStringList items;
    const QList<QAction *> actions = menu->actions();
    for (const QAction *action : actions) {
        items.append(action->isSeparator() ? QStringLiteral("-") : action->text());
    }
    return items;
}

QAction *actionOf(const QMenu *menu, const QString &text)
{
    const QList<QAction *> actions = menu->actions();
    for (QAction *action : actions) {
        if (action->text() == text) {
            return action;
        }
    }
    return nullptr;
}

/// Clicks as the window system does: the click waits in the queue, unlike QTest's own.
void clickLater(const QWidget *widget)
{
    const QPoint position = widget->mapTo(widget->window(), widget->rect().center());
    const QPoint onTheScreen = widget->window()->mapToGlobal(position);
    const auto send = [&](ulong time, Qt::MouseButtons pressed, QEvent::Type type) {
        QWindowSystemInterface::handleMouseEvent<QWindowSystemInterface::AsynchronousDelivery>(
            widget->window()->windowHandle(), time, position, onTheScreen, pressed, Qt::LeftButton, type,
            Qt::NoModifier, Qt::MouseEventNotSynthesized);
    };
    send(1, Qt::LeftButton, QEvent::MouseButtonPress);
    send(2, Qt::NoButton, QEvent::MouseButtonRelease);
}

QString indentedJson(const DeviceRecord &record)
{
    return QString::fromUtf8(QJsonDocument(Sondrix::deviceToJson(record)).toJson(QJsonDocument::Indented));
}

/// Keeps what is asked of it, by context.
class RecordingTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }

    QString translate(const char *context, const char *text, const char *, int) const override
    {
        asked.append(QString::fromUtf8(context) + QStringLiteral(": ") + QString::fromUtf8(text));
        return QString();
    }

    mutable QStringList asked;
};

} // namespace

class MainWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void window();
    void hasNoSlotsSignalsOrProperties();
    void asksForTheDefaultConfiguration();
    void centralLayout();
    void headerRow();
    void headerTitleFont();
    void activityIndicator();
    void filterRow();
    void summaryLine();
    void splitter();
    void listsPane();
    void deviceView_data();
    void deviceView();
    void inspectorPane();
    void banner();
    void statusBarMessage();
    void statusBarMessageStays();
    void onlyTwoObjectNames();
    void tabOrder();
    void accessibility();
    void textsAreTranslatedInTheContextOfTheWindow();
    void startsReadyAndEmpty();
    void timersAfterConstruction();

    void firstPassByItself();
    void firstPassOfADestroyedWindow();
    void refreshButton();
    void passes_data();
    void passes();
    void indicatorOnItsWay();
    void indicatorStaysGreenAfterALateDevice();
    void updateLeavesTheIndicator();
    void refreshModeOnlyDuringThePass();
    void providerErrorIsNotShown();
    void partialResultsOfAFailure();
    void expiryShowsInTheCounts();
    void backToReady();
    void newPassCancelsTheReturnToReady();
    void setActivity_data();
    void setActivity();
    void setActivityStopsTheTimer();
    void setActivityPaintsAtOnce();
    void setActivityIdle();
    void pumpsEvents_data();
    void pumpsEvents();
    void passPumpsBeforeItStarts();
    void passPumpsWhenItStarts();
    void addedDevicePumpsOnce();
    void updatedDevicePumpsNothing();
    void modelsAreRebuiltBeforeTheWindowReacts();
    void userInputWaitsForTheEndOfThePass();
    void userInputWithinANestedLoop();
    void passInsideAPass();
    void passInsideAFirstPass();

    void counts_data();
    void counts();
    void countsOfManyDevices();
    void countsIgnoreTheFilters();
    void countsFollowTheRegistry();
    void countsFollowThePass();

    void filters_data();
    void filters();
    void eachFilterRebuildsEachListOnce_data();
    void eachFilterRebuildsEachListOnce();
    void applyFiltersWithoutAChange();
    void choices();
    void choicesIgnoreTheFilters();
    void choicesSendNoSignal();
    void choiceStaysAcrossARepopulation();
    void choiceFallsBackWhileTheFilterStays();

    void nothingSelected();
    void inspectorFollowsTheCurrentRow_data();
    void inspectorFollowsTheCurrentRow();
    void outputListWinsOverAnInputListWithoutFocus();
    void inputListWinsWithFocus();
    void clickBackIntoTheInputList_data();
    void clickBackIntoTheInputList();
    void focusedInputListWithoutACurrentRow();
    void keyboardMovesTheInspector();
    void inspectorEmpties_data();
    void inspectorEmpties();
    void inspectorKeepsItsTextWhenADeviceIsAdded();
    void inspectorKeepsItsTextWithoutAChangeOfFilters();
    void inspectorOfADeviceWithoutAKey();
    void details_data();
    void details();
    void detailsOfTheSelectedDevice();
    void rawJson();
    void textOfTheNetworkIsPlain();
    void toolTipIsPlain();

    void menuEntries();
    void menuPosition();
    void menuOpensOnARequest_data();
    void menuOpensOnARequest();
    void menuStates_data();
    void menuStates();
    void noMenu_data();
    void noMenu();
    void menuDismissed();
    void copyPrimaryUrl();
    void copyAllUrls();
    void copyDeviceJson();
    void openWebUi_data();
    void openWebUi();
    void refreshThisDevice();
    void removeUntilRediscovered();
    void disabledEntryDoesNothing();
    void menuActsOnTheRowUnderThePointer();
    void deviceVanishesWhileTheMenuIsOpen_data();
    void deviceVanishesWhileTheMenuIsOpen();

    void destruction_data();
    void destruction();

public slots:
    void openPage(const QUrl &url) { m_openedPages.append(url.toEncoded()); }

private:
    void makeWindow();
    void show();
    void add(const Devices &devices);
    QString activity() const;
    QString summary() const { return m_window->m_summaryLabel->text(); }
    QString detailsTitle() const;
    QStringList rows(const QListView *view) const;
    QPushButton *findRefreshButton() const;
    QBoxLayout *mainLayout() const;
    QBoxLayout *row(int index) const;
    void select(QListView *view, int index);
    QPoint middleOfRow(const QListView *view, int index) const;
    bool inMenu(QListView *view, int index, const std::function<void(QMenu *)> &visit);
    bool chooseInMenu(QListView *view, int index, const QString &text);

    QScopedPointer<MainWindow> m_window;
    QPointer<ScriptedDiscoverer> m_first;
    QPointer<ScriptedDiscoverer> m_second;
    QList<QByteArray> m_openedPages;
};

void MainWindowTest::initTestCase()
{
    applyAppTheme();
    for (const char *scheme : {"http", "https"}) {
        QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), this, "openPage");
    }
}

void MainWindowTest::init()
{
    m_openedPages.clear();
    QApplication::clipboard()->setText(QStringLiteral("untouched"));
    makeWindow();
}

void MainWindowTest::cleanup()
{
    m_window.reset();
    qDeleteAll(firstPassTimers());
}

/// A window whose passes the test starts.
void MainWindowTest::makeWindow()
{
    m_first = new ScriptedDiscoverer;
    m_second = new ScriptedDiscoverer;
    nextDiscoverers = {m_first, m_second};
    configurationsAskedFor.clear();
    m_window.reset(new MainWindow);
    qDeleteAll(firstPassTimers());
}

void MainWindowTest::show()
{
    m_window->show();
    QApplication::setActiveWindow(m_window.data());
    QVERIFY(QTest::qWaitForWindowActive(m_window.data()));
}

void MainWindowTest::add(const Devices &devices)
{
    for (const DeviceRecord &record : devices) {
        m_window->m_registry.addOrUpdate(record);
    }
}

/// The indicator as "text/state".
QString MainWindowTest::activity() const
{
    const QLabel *label = m_window->m_activityLabel;
    return label->text() + QStringLiteral("/") + label->property("activityState").toString();
}

/// The first line of the "Details" tab.
QString MainWindowTest::detailsTitle() const
{
    return m_window->m_detailsView->toPlainText().section(QLatin1Char('\n'), 0, 0);
}

QStringList MainWindowTest::rows(const QListView *view) const
{
    QStringList lines;
    for (int i = 0; i < view->model()->rowCount(); ++i) {
        lines.append(view->model()->index(i, 0).data().toString());
    }
    return lines;
}

QPushButton *MainWindowTest::findRefreshButton() const
{
    const QList<QPushButton *> buttons = m_window->findChildren<QPushButton *>();
    return buttons.size() == 1 ? buttons.first() : nullptr;
}

QBoxLayout *MainWindowTest::mainLayout() const
{
    return qobject_cast<QBoxLayout *>(m_window->centralWidget()->layout());
}

/// One of the rows of the main layout that are layouts themselves.
QBoxLayout *MainWindowTest::row(int index) const
{
    return qobject_cast<QBoxLayout *>(mainLayout()->itemAt(index)->layout());
}

void MainWindowTest::select(QListView *view, int index)
{
    view->setCurrentIndex(view->model()->index(index, 0));
}

QPoint MainWindowTest::middleOfRow(const QListView *view, int index) const
{
    return view->visualRect(view->model()->index(index, 0)).center();
}

/// Opens the menu of a row, shows it to the visitor and closes it, where the visitor has not. Returns
/// whether a menu opened.
bool MainWindowTest::inMenu(QListView *view, int index, const std::function<void(QMenu *)> &visit)
{
    bool hasOpened = false;
    QTimer visitor;
    visitor.setSingleShot(true);
    connect(&visitor, &QTimer::timeout, this, [&] {
        if (auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
            hasOpened = true;
            visit(menu);
            menu->close();
        }
    });
    visitor.start(0);
    auto *model = static_cast<DeviceListModel *>(view->model());
    m_window->showDeviceContextMenu(view, model, middleOfRow(view, index));
    return hasOpened;
}

/// Clicks an entry of a row's menu. Returns whether there was one.
bool MainWindowTest::chooseInMenu(QListView *view, int index, const QString &text)
{
    bool hasClicked = false;
    inMenu(view, index, [&](QMenu *menu) {
        if (QAction *action = actionOf(menu, text)) {
            QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, menu->actionGeometry(action).center());
            hasClicked = true;
        }
    });
    return hasClicked;
}

void MainWindowTest::window()
{
    QCOMPARE(m_window->windowTitle(), QStringLiteral("CorvaneTVSondrix - www.corvane.example"));
    QCOMPARE(m_window->size(), QSize(1180, 720));
    QVERIFY(m_window->findChildren<QMenuBar *>().isEmpty());
    QVERIFY(m_window->findChildren<QToolBar *>().isEmpty());
    QVERIFY(m_window->isWindow());
    QCOMPARE(m_window->m_manager.parent(), m_window.data());
    QCOMPARE(m_window->m_registry.parent(), nullptr);
}

void MainWindowTest::hasNoSlotsSignalsOrProperties()
{
    const QMetaObject *own = m_window->metaObject();
    QCOMPARE(own->className(), "MainWindow");
    QCOMPARE(own->methodCount(), QMainWindow::staticMetaObject.methodCount());
    QCOMPARE(own->propertyCount(), QMainWindow::staticMetaObject.propertyCount());
}

void MainWindowTest::asksForTheDefaultConfiguration()
{
    QCOMPARE(configurationsAskedFor.size(), 1);
    const DiscoveryConfig config = configurationsAskedFor.first();
    for (bool DiscoveryConfig::*provider :
         {&DiscoveryConfig::mdns, &DiscoveryConfig::ssdp, &DiscoveryConfig::upnpDlna, &DiscoveryConfig::roku,
          &DiscoveryConfig::cast, &DiscoveryConfig::airplay, &DiscoveryConfig::nmos, &DiscoveryConfig::ember,
          &DiscoveryConfig::onvif, &DiscoveryConfig::ndi}) {
        QVERIFY(config.*provider);
    }
    QVERIFY(!config.sapAes67);
    QVERIFY(!config.activeProbingEnabled);
    QVERIFY(config.interfaces.isEmpty());
    QVERIFY(config.emberSeeds.isEmpty());
    QVERIFY(config.nmosRegistries.isEmpty());
    QVERIFY(config.ndiDiscoveryServers.isEmpty());
}

void MainWindowTest::centralLayout()
{
    QCOMPARE(m_window->centralWidget()->metaObject(), &QWidget::staticMetaObject);
    QVERIFY(qobject_cast<QVBoxLayout *>(mainLayout()));
    QCOMPARE(mainLayout()->contentsMargins(), QMargins(10, 10, 10, 10));
    QWidget plain;
    const QVBoxLayout plainLayout(&plain);
    QCOMPARE(mainLayout()->spacing(), plainLayout.spacing());

    QCOMPARE(mainLayout()->count(), 5);
    QVERIFY(row(0) != nullptr);
    QVERIFY(row(1) != nullptr);
    QCOMPARE(mainLayout()->itemAt(2)->widget(), m_window->m_summaryLabel);
    QVERIFY(qobject_cast<QSplitter *>(mainLayout()->itemAt(3)->widget()));
    QCOMPARE(mainLayout()->itemAt(4)->widget(), m_window->m_adRotator);
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(mainLayout()->stretch(i), i == 3 ? 1 : 0);
        QCOMPARE(mainLayout()->itemAt(i)->alignment(), Qt::Alignment());
    }
}

void MainWindowTest::headerRow()
{
    const QBoxLayout *header = row(0);
    QVERIFY(qobject_cast<const QHBoxLayout *>(header));
    QCOMPARE(header->count(), 5);

    const auto *title = qobject_cast<QLabel *>(header->itemAt(0)->widget());
    QVERIFY(title != nullptr);
    QCOMPARE(title->text(), QStringLiteral("Discovered Devices"));
    const QSpacerItem *gap = header->itemAt(1)->spacerItem();
    QVERIFY(gap != nullptr);
    QCOMPARE(gap->sizeHint().width(), 12);
    QVERIFY(!(gap->expandingDirections() & Qt::Horizontal));
    QCOMPARE(header->itemAt(2)->widget(), m_window->m_activityLabel);
    QVERIFY(header->itemAt(3)->spacerItem() != nullptr);
    QVERIFY(header->itemAt(3)->expandingDirections() & Qt::Horizontal);
    const auto *button = qobject_cast<QPushButton *>(header->itemAt(4)->widget());
    QVERIFY(button != nullptr);
    QCOMPARE(button->text(), QStringLiteral("Refresh"));
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(header->stretch(i), i == 3 ? 1 : 0);
    }
}

void MainWindowTest::headerTitleFont()
{
    const QLabel plain(m_window.data());
    const QFont font = row(0)->itemAt(0)->widget()->font();
    QCOMPARE(font.pointSize(), plain.font().pointSize() + 4);
    QCOMPARE(font.weight(), 75);
    QCOMPARE(font.family(), plain.font().family());
}

void MainWindowTest::activityIndicator()
{
    const QLabel *label = m_window->m_activityLabel;
    QCOMPARE(label->objectName(), QStringLiteral("activityIndicator"));
    QCOMPARE(label->alignment(), Qt::Alignment(Qt::AlignCenter));
    QCOMPARE(label->minimumWidth(), 150);
    QCOMPARE(label->sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(label->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
}

void MainWindowTest::filterRow()
{
    const QBoxLayout *filters = row(1);
    QVERIFY(qobject_cast<const QHBoxLayout *>(filters));
    QCOMPARE(filters->count(), 4);
    const QList<QWidget *> widgets{m_window->m_searchEdit, m_window->m_statusCombo, m_window->m_protocolCombo,
                                   m_window->m_providerCombo};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(filters->itemAt(i)->widget(), widgets.at(i));
        QCOMPARE(filters->stretch(i), i == 0 ? 2 : 0);
    }
    QCOMPARE(m_window->m_searchEdit->placeholderText(), QStringLiteral("Search"));
    QCOMPARE(m_window->m_searchEdit->text(), QString());
    const QStringList states{QStringLiteral("Any Status"), QStringLiteral("Online"),
                             QStringLiteral("Offline")};
    QCOMPARE(texts(m_window->m_statusCombo), states);
    QCOMPARE(texts(m_window->m_protocolCombo), QStringList{QStringLiteral("All Protocols")});
    QCOMPARE(texts(m_window->m_providerCombo), QStringList{QStringLiteral("All Providers")});
    for (const QComboBox *combo : {m_window->m_protocolCombo, m_window->m_providerCombo}) {
        QVERIFY(combo->itemIcon(0).isNull());
        QVERIFY(!combo->itemData(0).isValid());
        QVERIFY(!combo->isEditable());
    }
    for (const QComboBox *combo :
         {m_window->m_statusCombo, m_window->m_protocolCombo, m_window->m_providerCombo}) {
        QCOMPARE(combo->currentIndex(), 0);
    }
}

void MainWindowTest::summaryLine()
{
    const QLabel *label = m_window->m_summaryLabel;
    QCOMPARE(label->alignment(), Qt::AlignLeft | Qt::AlignVCenter);
    QCOMPARE(label->sizePolicy().horizontalPolicy(), QSizePolicy::Preferred);
    QCOMPARE(label->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
}

void MainWindowTest::splitter()
{
    const auto *splitter = m_window->findChild<QSplitter *>();
    QCOMPARE(splitter->orientation(), Qt::Horizontal);
    QCOMPARE(splitter->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(splitter->sizePolicy().verticalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(splitter->count(), 2);
    QCOMPARE(splitter->widget(0)->sizePolicy().horizontalStretch(), 3);
    QCOMPARE(splitter->widget(1)->sizePolicy().horizontalStretch(), 2);
    QCOMPARE(splitter->widget(1), m_window->m_inspectorTabs);
}

void MainWindowTest::listsPane()
{
    const QWidget *pane = m_window->findChild<QSplitter *>()->widget(0);
    QCOMPARE(pane->metaObject(), &QWidget::staticMetaObject);
    const auto *layout = qobject_cast<QHBoxLayout *>(pane->layout());
    QVERIFY(layout != nullptr);
    QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(layout->count(), 2);
    const QList<QListView *> views{m_window->m_inputView, m_window->m_outputView};
    const QStringList titles{QStringLiteral("Inputs"), QStringLiteral("Outputs")};
    for (int i = 0; i < 2; ++i) {
        const auto *group = qobject_cast<QGroupBox *>(layout->itemAt(i)->widget());
        QVERIFY(group != nullptr);
        QCOMPARE(group->title(), titles.at(i));
        QCOMPARE(layout->stretch(i), 0);
        QVERIFY(qobject_cast<QVBoxLayout *>(group->layout()));
        QCOMPARE(group->layout()->count(), 1);
        QCOMPARE(group->layout()->itemAt(0)->widget(), views.at(i));
    }
}

void MainWindowTest::deviceView_data()
{
    QTest::addColumn<bool>("isInput");
    QTest::newRow("inputs") << true;
    QTest::newRow("outputs") << false;
}

void MainWindowTest::deviceView()
{
    QFETCH(bool, isInput);
    const QListView *view = isInput ? m_window->m_inputView : m_window->m_outputView;
    DeviceListModel *model = isInput ? m_window->m_inputModel : m_window->m_outputModel;
    QCOMPARE(view->model(), model);
    QCOMPARE(model->parent(), m_window.data());
    QVERIFY(view->alternatingRowColors());
    QCOMPARE(view->selectionMode(), QAbstractItemView::SingleSelection);
    QCOMPARE(view->contextMenuPolicy(), Qt::CustomContextMenu);

    add({device("in", Direction::input), device("out", Direction::output)});
    QCOMPARE(rows(view), QStringList{isInput ? QStringLiteral("in (NDI)") : QStringLiteral("out (NDI)")});
}

void MainWindowTest::inspectorPane()
{
    const QTabWidget *tabs = m_window->m_inspectorTabs;
    QCOMPARE(tabs->count(), 2);
    QCOMPARE(tabs->tabText(0), QStringLiteral("Details"));
    QCOMPARE(tabs->tabText(1), QStringLiteral("Raw JSON"));
    QCOMPARE(tabs->widget(0), m_window->m_detailsView);
    QCOMPARE(tabs->widget(1), m_window->m_rawJsonView);
    QCOMPARE(tabs->currentIndex(), 0);
    QVERIFY(m_window->m_detailsView->isReadOnly());
    QVERIFY(m_window->m_rawJsonView->isReadOnly());
    QCOMPARE(m_window->m_detailsView->placeholderText(),
             QStringLiteral("Select a device to inspect details."));
    QCOMPARE(m_window->m_rawJsonView->placeholderText(),
             QStringLiteral("Select a device to inspect its REST JSON payload."));
}

void MainWindowTest::banner()
{
    show();
    const QWidget *banner = m_window->m_adRotator;
    QVERIFY(banner->isVisible());
    const QWidget *splitter = mainLayout()->itemAt(3)->widget();
    QVERIFY(banner->geometry().top() > splitter->geometry().bottom());
    QVERIFY(banner->height() >= 105 && banner->height() <= 132);
    QCOMPARE(banner->width(), m_window->centralWidget()->width() - 20);
}

void MainWindowTest::statusBarMessage()
{
    QCOMPARE(m_window->statusBar()->currentMessage(), QStringLiteral("Free edition - REST API disabled"));
}

void MainWindowTest::statusBarMessageStays()
{
    show();
    add({withUrls(device("a"), {QStringLiteral("http://10.0.0.1/")})});
    m_window->startScan(true);
    QVERIFY(inMenu(m_window->m_inputView, 0, [](QMenu *menu) {
        for (QAction *action : menu->actions()) {
            menu->setActiveAction(action);
        }
    }));
    QCOMPARE(m_window->statusBar()->currentMessage(), QStringLiteral("Free edition - REST API disabled"));
}

void MainWindowTest::onlyTwoObjectNames()
{
    QStringList names;
    const QList<QWidget *> widgets = m_window->findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        // Qt names parts of its own widgets.
        const bool isPartOfAWidget = widget->objectName().startsWith(QLatin1String("qt_")) ||
                                     qobject_cast<QTabBar *>(widget->parentWidget()) != nullptr;
        if (!widget->objectName().isEmpty() && !isPartOfAWidget) {
            names.append(widget->objectName());
        }
    }
    names.sort();
    QCOMPARE(names, (QStringList{QStringLiteral("activityIndicator"), QStringLiteral("productAdRotator")}));
}

void MainWindowTest::tabOrder()
{
    show();
    const QList<QWidget *> expected{
        findRefreshButton(),       m_window->m_searchEdit,    m_window->m_statusCombo,
        m_window->m_protocolCombo, m_window->m_providerCombo, m_window->m_inputView,
        m_window->m_outputView,    m_window->m_inspectorTabs, m_window->m_detailsView};
    findRefreshButton()->setFocus();
    for (QWidget *widget : expected) {
        QWidget *focused = QApplication::focusWidget();
        QVERIFY(focused == widget || widget->isAncestorOf(focused)); // a tab widget's bar has the focus
        QTest::keyClick(focused, Qt::Key_Tab);
    }
}

void MainWindowTest::accessibility()
{
    const QMap<QWidget *, QString> names{
        {m_window->m_activityLabel, QString()}, // a label's name is its text
        {m_window->m_searchEdit, QStringLiteral("Search")},
        {m_window->m_statusCombo, QStringLiteral("Status filter")},
        {m_window->m_protocolCombo, QStringLiteral("Protocol filter")},
        {m_window->m_providerCombo, QStringLiteral("Provider filter")},
        {m_window->m_inputView, QStringLiteral("Inputs")},
        {m_window->m_outputView, QStringLiteral("Outputs")},
        {m_window->m_adRotator, QStringLiteral("Product information")},
    };
    QSet<QString> descriptions;
    for (auto name = names.cbegin(); name != names.cend(); ++name) {
        QCOMPARE(name.key()->accessibleName(), name.value());
        descriptions.insert(
            QAccessible::queryAccessibleInterface(name.key())->text(QAccessible::Description));
    }
    QCOMPARE(descriptions.size(), names.size()); // each has its own
    QVERIFY(!descriptions.contains(QString()));
    QCOMPARE(QAccessible::queryAccessibleInterface(m_window->m_activityLabel)->text(QAccessible::Name),
             QStringLiteral("Ready"));
    QCOMPARE(m_window->m_detailsView->accessibleName(), QStringLiteral("Details"));
    QCOMPARE(m_window->m_rawJsonView->accessibleName(), QStringLiteral("Raw JSON"));
}

void MainWindowTest::textsAreTranslatedInTheContextOfTheWindow()
{
    m_window.reset();
    RecordingTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    makeWindow();
    m_first->script = [](QString *) { return Devices{device("a")}; };
    m_window->startScan(false);
    m_window->startScan(true);
    m_first->script = nullptr;
    m_window->startScan(false);
    m_window->startScan(true);
    m_window->setActivityIdle();
    show();
    m_window->showDeviceDetails(withUrls(device("a"), {QStringLiteral("http://10.0.0.1/")}));
    m_window->showDeviceDetails(offline(device("a")));
    QVERIFY(inMenu(m_window->m_inputView, 0, [](QMenu *) {}));
    QCoreApplication::removeTranslator(&translator);

    for (const char *text : {"CorvaneTVSondrix - ",
                             "Discovered Devices",
                             "Refresh",
                             "Search",
                             "Any Status",
                             "Online",
                             "Offline",
                             "All Protocols",
                             "All Providers",
                             "Inputs",
                             "Outputs",
                             "Details",
                             "Raw JSON",
                             "Select a device to inspect details.",
                             "Select a device to inspect its REST JSON payload.",
                             "Free edition - REST API disabled",
                             "Ready",
                             "Searching...",
                             "Refreshing...",
                             "Adding devices...",
                             "Added/updated %1",
                             "Search complete",
                             "Refresh complete",
                             "%1 devices | %2 inputs | %3 outputs | %4 control-only | %5 offline",
                             "Name: %1",
                             "Stable key: %1",
                             "ID: %1",
                             "Provider: %1",
                             "Protocol: %1",
                             "Direction: %1",
                             "Status: %1",
                             "TTL seconds: %1",
                             "Capabilities: %1",
                             "Vendor: %1",
                             "Model: %1",
                             "Serial: %1",
                             "Firmware: %1",
                             "Hostname: %1",
                             "IPs: %1",
                             "First seen: %1",
                             "Last seen: %1",
                             "Last changed: %1",
                             "Endpoints:",
                             "Copy Primary URL",
                             "Copy All URLs",
                             "Copy Device JSON",
                             "Open Device Web UI",
                             "Refresh This Device",
                             "Remove Until Rediscovered"}) {
        QVERIFY2(translator.asked.contains(QStringLiteral("MainWindow: ") + QLatin1String(text)), text);
    }
}

void MainWindowTest::startsReadyAndEmpty()
{
    QCOMPARE(activity(), QStringLiteral("Ready/idle"));
    QCOMPARE(summary(), QStringLiteral("0 devices | 0 inputs | 0 outputs | 0 control-only | 0 offline"));
    QCOMPARE(m_window->m_inputModel->rowCount(), 0);
    QCOMPARE(m_window->m_outputModel->rowCount(), 0);
    QCOMPARE(m_window->m_detailsView->toPlainText(), QString());
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), QString());
    QVERIFY(!m_window->m_refreshMode);
    QCOMPARE(m_first->scanCount, 0);
}

void MainWindowTest::timersAfterConstruction()
{
    QVERIFY(m_window->m_activityResetTimer->isSingleShot());
    QVERIFY(!m_window->m_activityResetTimer->isActive());

    m_window.reset();
    nextDiscoverers = {m_first = new ScriptedDiscoverer};
    m_window.reset(new MainWindow);
    QCOMPARE(firstPassTimers().size(), 1);
    QVERIFY(m_window->findChildren<QTimer *>() == QList<QTimer *>{m_window->m_activityResetTimer});
}

void MainWindowTest::firstPassByItself()
{
    m_window.reset();
    nextDiscoverers = {m_first = new ScriptedDiscoverer};
    QString duringThePass;
    bool refreshMode = true;
    m_first->script = [&](QString *) {
        duringThePass = activity();
        refreshMode = m_window->m_refreshMode;
        return Devices();
    };
    m_window.reset(new MainWindow);
    QCOMPARE(activity(), QStringLiteral("Ready/idle"));
    QTRY_COMPARE_WITH_TIMEOUT(m_first->scanCount, 1, patienceMs);
    QCOMPARE(duringThePass, QStringLiteral("Searching.../active"));
    QVERIFY(!refreshMode);
    QCOMPARE(activity(), QStringLiteral("Search complete/idle"));
    QVERIFY(firstPassTimers().isEmpty()); // nothing starts a second one
}

void MainWindowTest::firstPassOfADestroyedWindow()
{
    m_window.reset();
    m_window.reset(new MainWindow);
    QCOMPARE(firstPassTimers().size(), 1);
    m_window.reset();
    QTRY_VERIFY_WITH_TIMEOUT(firstPassTimers().isEmpty(), patienceMs);
}

void MainWindowTest::refreshButton()
{
    show();
    QString duringThePass;
    m_first->script = [&](QString *) {
        duringThePass = activity();
        return Devices();
    };
    QTest::mouseClick(findRefreshButton(), Qt::LeftButton);
    QCOMPARE(m_first->scanCount, 1);
    QCOMPARE(m_second->scanCount, 1);
    QCOMPARE(duringThePass, QStringLiteral("Refreshing.../active"));
    QCOMPARE(activity(), QStringLiteral("Refresh complete/idle"));
}

void MainWindowTest::passes_data()
{
    QTest::addColumn<bool>("refresh");
    QTest::addColumn<Devices>("found");
    QTest::addColumn<QString>("finished");
    QTest::newRow("search without results") << false << Devices() << "Search complete/idle";
    QTest::newRow("refresh without results") << true << Devices() << "Refresh complete/idle";
    QTest::newRow("search with one result") << false << Devices{device("a")} << "Added/updated 1/adding";
    QTest::newRow("refresh with three results")
        << true << Devices{device("a"), device("b"), device("a")} << "Added/updated 3/adding";
    QTest::newRow("records without a key") << false << Devices{DeviceRecord()} << "Search complete/idle";
}

void MainWindowTest::passes()
{
    QFETCH(bool, refresh);
    QFETCH(Devices, found);
    m_second->script = [&](QString *) { return found; };
    m_window->startScan(refresh);
    QTEST(activity(), "finished");
    QVERIFY(m_window->m_activityResetTimer->isActive());
    QCOMPARE(m_window->m_activityResetTimer->interval(), activityResetMs);
    QCOMPARE(m_first->scanCount, 1);
    QCOMPARE(m_second->scanCount, 1);
}

void MainWindowTest::indicatorOnItsWay()
{
    QStringList way;
    connect(&m_window->m_manager, &DiscoveryManager::scanStarted, this, [&] { way << activity(); });
    connect(&m_window->m_registry, &DeviceRegistry::deviceAdded, this, [&] { way << activity(); });
    connect(&m_window->m_manager, &DiscoveryManager::scanFinished, this, [&] { way << activity(); });
    m_first->script = [&](QString *) {
        way << activity();
        return Devices{device("a")};
    };
    m_second->script = [&](QString *) {
        way << activity();
        return Devices();
    };
    m_window->startScan(true);
    const QStringList expected{
        QStringLiteral("Refreshing.../active"),     QStringLiteral("Refreshing.../active"),
        QStringLiteral("Adding devices.../adding"), QStringLiteral("Adding devices.../adding"),
        QStringLiteral("Added/updated 1/adding"),
    };
    QCOMPARE(way, expected);
}

void MainWindowTest::indicatorStaysGreenAfterALateDevice()
{
    add({device("known")});
    m_first->script = [](QString *) { return Devices{device("new"), device("known")}; };
    QString afterTheUpdate;
    m_second->script = [&](QString *) {
        afterTheUpdate = activity();
        return Devices();
    };
    m_window->startScan(false);
    QCOMPARE(afterTheUpdate, QStringLiteral("Adding devices.../adding"));
}

void MainWindowTest::updateLeavesTheIndicator()
{
    add({device("known")});
    m_first->script = [](QString *) { return Devices{device("known")}; };
    QString afterTheUpdate;
    m_second->script = [&](QString *) {
        afterTheUpdate = activity();
        return Devices();
    };
    m_window->startScan(false);
    QCOMPARE(afterTheUpdate, QStringLiteral("Searching.../active"));
    QCOMPARE(activity(), QStringLiteral("Added/updated 1/adding"));
}

void MainWindowTest::refreshModeOnlyDuringThePass()
{
    QList<bool> modes;
    m_first->script = [&](QString *) {
        modes.append(m_window->m_refreshMode);
        return Devices();
    };
    m_window->startScan(true);
    QVERIFY(!m_window->m_refreshMode);
    m_window->startScan(false);
    QVERIFY(!m_window->m_refreshMode);
    QCOMPARE(modes, (QList<bool>{true, false}));
}

void MainWindowTest::providerErrorIsNotShown()
{
    const auto fail = [](QString *error) {
        *error = QStringLiteral("the cable is out");
        return Devices();
    };
    m_first->script = fail;
    m_second->script = fail;
    m_window->startScan(false);
    QCOMPARE(activity(), QStringLiteral("Search complete/idle"));
    QCOMPARE(m_window->statusBar()->currentMessage(), QStringLiteral("Free edition - REST API disabled"));
    QCOMPARE(QApplication::activeModalWidget(), nullptr);
    const QList<QLabel *> labels = m_window->findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        QVERIFY(!label->text().contains(QLatin1String("cable")));
    }
}

void MainWindowTest::partialResultsOfAFailure()
{
    m_first->script = [](QString *error) {
        *error = QStringLiteral("cut short");
        return Devices{device("a")};
    };
    m_window->startScan(true);
    QCOMPARE(activity(), QStringLiteral("Added/updated 1/adding"));
    QCOMPARE(rows(m_window->m_inputView), QStringList{QStringLiteral("a (NDI)")});
}

void MainWindowTest::expiryShowsInTheCounts()
{
    DeviceRecord old = device("old", Direction::input);
    old.ttlSeconds = 1;
    old.lastSeen = QDateTime::currentDateTimeUtc().addSecs(-60);
    add({old});
    QCOMPARE(summary(), QStringLiteral("1 devices | 1 inputs | 0 outputs | 0 control-only | 0 offline"));
    m_window->startScan(false);
    QCOMPARE(summary(), QStringLiteral("1 devices | 1 inputs | 0 outputs | 0 control-only | 1 offline"));
    QCOMPARE(activity(), QStringLiteral("Search complete/idle")); // an expiry is no result
}

void MainWindowTest::backToReady()
{
    m_first->script = [](QString *) { return Devices{device("a")}; };
    m_window->startScan(false);
    QCOMPARE(activity(), QStringLiteral("Added/updated 1/adding"));
    QTRY_COMPARE_WITH_TIMEOUT(activity(), QStringLiteral("Ready/idle"), patienceMs);
    QVERIFY(!m_window->m_activityResetTimer->isActive());
}

void MainWindowTest::newPassCancelsTheReturnToReady()
{
    m_window->startScan(false);
    QVERIFY(m_window->m_activityResetTimer->isActive());
    bool isPending = true;
    m_first->script = [&](QString *) {
        isPending = m_window->m_activityResetTimer->isActive();
        return Devices();
    };
    m_window->startScan(false);
    QVERIFY(!isPending);
    QVERIFY(m_window->m_activityResetTimer->isActive());
}

void MainWindowTest::setActivity_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QColor>("background");
    QTest::addColumn<QColor>("border");
    QTest::addColumn<QColor>("text");
    const auto row = [](const char *state, const char *background, const char *border, const char *text) {
        QTest::newRow(state) << QString::fromLatin1(state) << QColor(QLatin1String(background))
                             << QColor(QLatin1String(border)) << QColor(QLatin1String(text));
    };
    row("idle", "#252b33", "#3d444d", "#c9d1d9");
    row("active", "#1e3a5f", "#3b82f6", "#ffffff");
    row("adding", "#1f3d2b", "#2f9e44", "#ffffff");
    row("unheard of", "#252b33", "#3d444d", "#c9d1d9");
}

void MainWindowTest::setActivity()
{
    QFETCH(QString, state);
    show();
    m_window->setActivity(QStringLiteral("x"), state, false);
    QCOMPARE(activity(), QString(QStringLiteral("x/") + state));
    const QImage image = m_window->m_activityLabel->grab().toImage();
    QTEST(image.pixelColor(6, image.height() / 2), "background");
    QTEST(image.pixelColor(0, image.height() / 2), "border");
    QTEST(m_window->m_activityLabel->palette().color(QPalette::WindowText), "text");
}

void MainWindowTest::setActivityStopsTheTimer()
{
    m_window->m_activityResetTimer->start(activityResetMs);
    m_window->setActivity(QStringLiteral("x"), QStringLiteral("idle"), false);
    QVERIFY(!m_window->m_activityResetTimer->isActive());
}

void MainWindowTest::setActivityPaintsAtOnce()
{
    show();
    QCoreApplication::processEvents();
    class Listener : public QObject
    {
    public:
        bool eventFilter(QObject *, QEvent *event) override
        {
            hasUpdated =
                hasUpdated || event->type() == QEvent::UpdateRequest || event->type() == QEvent::Paint;
            return false;
        }
        bool hasUpdated = false;
    };
    Listener listener;
    m_window->m_activityLabel->installEventFilter(&listener);
    const QString text = m_window->m_activityLabel->text();
    m_window->setActivity(text, QStringLiteral("active"), true);
    QVERIFY(listener.hasUpdated); // with the same text, and before the call returns
}

void MainWindowTest::setActivityIdle()
{
    m_window->setActivity(QStringLiteral("x"), QStringLiteral("active"), false);
    m_window->setActivityIdle();
    QCOMPARE(activity(), QStringLiteral("Ready/idle"));
}

void MainWindowTest::pumpsEvents_data()
{
    QTest::addColumn<bool>("pumpEvents");
    QTest::newRow("yes") << true;
    QTest::newRow("no") << false;
}

void MainWindowTest::pumpsEvents()
{
    QFETCH(bool, pumpEvents);
    bool isDelivered = false;
    QMetaObject::invokeMethod(
        m_window.data(), [&] { isDelivered = true; }, Qt::QueuedConnection);
    m_window->setActivity(QStringLiteral("x"), QStringLiteral("idle"), pumpEvents);
    QCOMPARE(isDelivered, pumpEvents);
    QCoreApplication::processEvents();
    QVERIFY(isDelivered);
}

void MainWindowTest::passPumpsBeforeItStarts()
{
    QString atTheEvent;
    QMetaObject::invokeMethod(
        m_window.data(),
        [&] {
            atTheEvent = activity();
            m_window->setActivity(QStringLiteral("between"), QStringLiteral("idle"), false);
        },
        Qt::QueuedConnection);
    QString atTheScan;
    m_first->script = [&](QString *) {
        atTheScan = activity();
        return Devices();
    };
    m_window->startScan(false);
    QCOMPARE(atTheEvent, QStringLiteral("Searching.../active"));
    // The start of the pass sets the indicator again.
    QCOMPARE(atTheScan, QStringLiteral("Searching.../active"));
}

void MainWindowTest::passPumpsWhenItStarts()
{
    bool isDelivered = false;
    bool isDeliveredAtTheScan = false;
    QMetaObject::invokeMethod(
        m_window.data(), [&] { isDelivered = true; }, Qt::QueuedConnection);
    m_first->script = [&](QString *) {
        isDeliveredAtTheScan = isDelivered;
        return Devices();
    };
    m_window->m_manager.runPass();
    QVERIFY(isDeliveredAtTheScan);
}

void MainWindowTest::addedDevicePumpsOnce()
{
    QString atTheEvent;
    QString countsAtTheEvent;
    m_first->script = [&](QString *) {
        QMetaObject::invokeMethod(
            m_window.data(),
            [&] {
                atTheEvent = activity();
                countsAtTheEvent = summary();
            },
            Qt::QueuedConnection);
        return Devices{device("a")};
    };
    QString atTheNextScan;
    m_second->script = [&](QString *) {
        atTheNextScan = atTheEvent;
        return Devices();
    };
    m_window->startScan(false);
    QCOMPARE(atTheNextScan, QStringLiteral("Adding devices.../adding"));
    // The indicator comes first, then the counts.
    QCOMPARE(countsAtTheEvent,
             QStringLiteral("0 devices | 0 inputs | 0 outputs | 0 control-only | 0 offline"));
}

void MainWindowTest::updatedDevicePumpsNothing()
{
    add({device("known")});
    bool isDelivered = false;
    m_first->script = [&](QString *) {
        QMetaObject::invokeMethod(
            m_window.data(), [&] { isDelivered = true; }, Qt::QueuedConnection);
        return Devices{device("known")};
    };
    m_window->startScan(false);
    QVERIFY(!isDelivered);
    QCoreApplication::processEvents();
    QVERIFY(isDelivered);
}

void MainWindowTest::modelsAreRebuiltBeforeTheWindowReacts()
{
    int rowsAtTheEvent = -1;
    m_first->script = [&](QString *) {
        QMetaObject::invokeMethod(
            m_window.data(), [&] { rowsAtTheEvent = m_window->m_outputModel->rowCount(); },
            Qt::QueuedConnection);
        return Devices{device("a")};
    };
    m_window->startScan(false);
    QCOMPARE(rowsAtTheEvent, 1);
}

void MainWindowTest::userInputWaitsForTheEndOfThePass()
{
    show();
    m_first->script = [](QString *) { return Devices{device("a")}; };
    int passesDuringThePass = -1;
    m_second->script = [&](QString *) {
        if (passesDuringThePass == -1) {
            passesDuringThePass = m_first->scanCount;
        }
        return Devices();
    };
    clickLater(findRefreshButton());
    QCOMPARE(m_first->scanCount, 0);
    m_window->startScan(false);
    QCOMPARE(passesDuringThePass, 1);
    QCOMPARE(m_first->scanCount, 1);
    QTRY_COMPARE(m_first->scanCount, 2);
}

void MainWindowTest::userInputWithinANestedLoop()
{
    show();
    add({device("axis"), device("barix")});
    m_window->m_searchEdit->setFocus();
    QStringList rowsDuringThePass;
    m_first->script = [&](QString *) {
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            QTest::keyClick(m_window->windowHandle(), Qt::Key_B);
            rowsDuringThePass = rows(m_window->m_inputView);
            loop.quit();
        });
        loop.exec();
        return Devices();
    };
    m_window->startScan(false);
    QCOMPARE(rowsDuringThePass, QStringList{QStringLiteral("barix (NDI)")});
}

void MainWindowTest::passInsideAPass()
{
    show();
    QStringList way;
    connect(&m_window->m_manager, &DiscoveryManager::scanStarted, this,
            [&] { way << QStringLiteral("started: ") + activity(); });
    connect(&m_window->m_manager, &DiscoveryManager::scanFinished, this,
            [&] { way << QStringLiteral("finished: ") + activity(); });
    bool isEnabled = false;
    m_first->script = [&](QString *) {
        if (m_first->scanCount > 1) {
            return Devices();
        }
        isEnabled = findRefreshButton()->isEnabled();
        clickLater(findRefreshButton());
        QEventLoop loop;
        connect(&m_window->m_manager, &DiscoveryManager::scanFinished, &loop, &QEventLoop::quit);
        QTimer::singleShot(patienceMs, &loop, &QEventLoop::quit);
        loop.exec();
        return Devices();
    };
    m_window->startScan(true);
    QVERIFY(isEnabled);
    QCOMPARE(m_first->scanCount, 2);
    QCOMPARE(m_second->scanCount, 2);
    // The inner pass takes the mode of the outer one with it.
    const QStringList expected{
        QStringLiteral("started: Refreshing.../active"), QStringLiteral("started: Refreshing.../active"),
        QStringLiteral("finished: Refresh complete/idle"), QStringLiteral("finished: Search complete/idle")};
    QCOMPARE(way, expected);
    QVERIFY(!m_window->m_refreshMode);
}

void MainWindowTest::passInsideAFirstPass()
{
    m_first->script = [&](QString *) {
        if (m_first->scanCount > 1) {
            return Devices{device("inner")};
        }
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            findRefreshButton()->click();
            loop.quit();
        });
        loop.exec();
        return Devices{device("inner"), device("outer")};
    };
    m_window->startScan(false);
    QCOMPARE(rows(m_window->m_inputView),
             (QStringList{QStringLiteral("inner (NDI)"), QStringLiteral("outer (NDI)")}));
    QCOMPARE(activity(), QStringLiteral("Added/updated 2/adding"));
    QVERIFY(m_window->m_activityResetTimer->isActive());
}

void MainWindowTest::counts_data()
{
    QTest::addColumn<Devices>("devices");
    QTest::addColumn<QString>("line");
    QTest::newRow("input") << Devices{device("a", Direction::input)}
                           << "1 devices | 1 inputs | 0 outputs | 0 control-only | 0 offline";
    QTest::newRow("output") << Devices{device("a", Direction::output)}
                            << "1 devices | 0 inputs | 1 outputs | 0 control-only | 0 offline";
    QTest::newRow("both") << Devices{device("a", Direction::inputOutput)}
                          << "1 devices | 1 inputs | 1 outputs | 0 control-only | 0 offline";
    QTest::newRow("control only") << Devices{device("a", Direction::controlOnly)}
                                  << "1 devices | 0 inputs | 0 outputs | 1 control-only | 0 offline";
    QTest::newRow("unknown") << Devices{device("a", Direction::unknown)}
                             << "1 devices | 0 inputs | 0 outputs | 0 control-only | 0 offline";
    QTest::newRow("offline") << Devices{offline(device("a", Direction::output))}
                             << "1 devices | 0 inputs | 1 outputs | 0 control-only | 1 offline";
    QTest::newRow("several") << Devices{device("a", Direction::input),
                                        device("b", Direction::input),
                                        offline(device("c", Direction::inputOutput)),
                                        offline(device("d", Direction::unknown)),
                                        device("e", Direction::controlOnly),
                                        offline(device("f", Direction::controlOnly)),
                                        device("g", Direction::output)}
                             << "7 devices | 3 inputs | 2 outputs | 2 control-only | 3 offline";
}

void MainWindowTest::counts()
{
    QFETCH(Devices, devices);
    add(devices);
    QTEST(summary(), "line");
}

void MainWindowTest::countsOfManyDevices()
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    const bool blocked = m_window->m_registry.blockSignals(true);
    for (int i = 0; i < 1234; ++i) {
        add({device(QString::number(i), Direction::input)});
    }
    m_window->m_registry.blockSignals(blocked);
    m_window->updateSummary();
    QLocale::setDefault(before);
    QCOMPARE(summary(),
             QStringLiteral("1234 devices | 1234 inputs | 0 outputs | 0 control-only | 0 offline"));
}

void MainWindowTest::countsIgnoreTheFilters()
{
    add({device("a"), device("b")});
    const QString before = summary();
    m_window->m_searchEdit->setText(QStringLiteral("nothing has this"));
    QCOMPARE(m_window->m_inputModel->rowCount(), 0);
    QCOMPARE(summary(), before);
}

void MainWindowTest::countsFollowTheRegistry()
{
    add({device("a", Direction::input)});
    add({offline(device("a", Direction::output))}); // a report of the same device
    QCOMPARE(summary(), QStringLiteral("1 devices | 1 inputs | 1 outputs | 0 control-only | 1 offline"));
    QVERIFY(m_window->m_registry.remove(keyOf("a")));
    QCOMPARE(summary(), QStringLiteral("0 devices | 0 inputs | 0 outputs | 0 control-only | 0 offline"));
}

void MainWindowTest::countsFollowThePass()
{
    m_first->script = [](QString *) { return Devices{device("a")}; };
    const bool blocked = m_window->m_registry.blockSignals(true); // only the pass itself tells
    m_window->m_manager.runPass();
    m_window->m_registry.blockSignals(blocked);
    QCOMPARE(summary(), QStringLiteral("1 devices | 1 inputs | 1 outputs | 0 control-only | 0 offline"));
}

void MainWindowTest::filters_data()
{
    QTest::addColumn<QString>("search");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<QString>("provider");
    QTest::addColumn<QStringList>("left");

    const QString anyStatus = QStringLiteral("Any Status");
    const QString anyProtocol = QStringLiteral("All Protocols");
    const QString anyProvider = QStringLiteral("All Providers");
    const QString axis = QStringLiteral("axis (NDI)");
    const QString barix = QStringLiteral("barix (RTSP)");
    const QString cobalt = QStringLiteral("cobalt (NDI)");
    QTest::newRow("none") << QString() << anyStatus << anyProtocol << anyProvider
                          << QStringList{axis, barix, cobalt};
    QTest::newRow("search") << "IX" << anyStatus << anyProtocol << anyProvider << QStringList{barix};
    QTest::newRow("search with blanks around")
        << "  ix " << anyStatus << anyProtocol << anyProvider << QStringList{barix};
    QTest::newRow("blank search") << "   " << anyStatus << anyProtocol << anyProvider
                                  << QStringList{axis, barix, cobalt};
    QTest::newRow("online") << QString() << "Online" << anyProtocol << anyProvider
                            << QStringList{axis, barix};
    QTest::newRow("offline") << QString() << "Offline" << anyProtocol << anyProvider << QStringList{cobalt};
    QTest::newRow("protocol") << QString() << anyStatus << "NDI" << anyProvider << QStringList{axis, cobalt};
    QTest::newRow("provider") << QString() << anyStatus << anyProtocol << "mdns" << QStringList{axis, barix};
    QTest::newRow("all four") << "a"
                              << "Online"
                              << "NDI"
                              << "mdns" << QStringList{axis};
    QTest::newRow("nothing left") << "z" << anyStatus << anyProtocol << anyProvider << QStringList();
}

void MainWindowTest::filters()
{
    QFETCH(QString, search);
    QFETCH(QString, status);
    QFETCH(QString, protocol);
    QFETCH(QString, provider);
    QFETCH(QStringList, left);
    add({withProtocol(device("axis"), QStringLiteral("NDI"), QStringLiteral("mdns")),
         withProtocol(device("barix"), QStringLiteral("rtsp"), QStringLiteral("mdns")),
         offline(withProtocol(device("cobalt"), QStringLiteral("ndi"), QStringLiteral("ndi")))});
    m_window->m_searchEdit->setText(search);
    m_window->m_statusCombo->setCurrentText(status);
    m_window->m_protocolCombo->setCurrentText(protocol);
    m_window->m_providerCombo->setCurrentText(provider);
    QCOMPARE(m_window->m_protocolCombo->currentText(), protocol);
    QCOMPARE(m_window->m_providerCombo->currentText(), provider);
    QCOMPARE(rows(m_window->m_inputView), left);
    QCOMPARE(rows(m_window->m_outputView), left);
}

void MainWindowTest::eachFilterRebuildsEachListOnce_data()
{
    QTest::addColumn<int>("filter");
    QTest::newRow("search") << 0;
    QTest::newRow("status") << 1;
    QTest::newRow("protocol") << 2;
    QTest::newRow("provider") << 3;
}

void MainWindowTest::eachFilterRebuildsEachListOnce()
{
    QFETCH(int, filter);
    add({device("a"), withProtocol(device("b"), QStringLiteral("rtsp"), QStringLiteral("mdns"))});
    QSignalSpy inputs(m_window->m_inputModel, &QAbstractItemModel::modelReset);
    QSignalSpy outputs(m_window->m_outputModel, &QAbstractItemModel::modelReset);
    switch (filter) {
    case 0:
        m_window->m_searchEdit->setText(QStringLiteral("a"));
        break;
    case 1:
        m_window->m_statusCombo->setCurrentIndex(1);
        break;
    case 2:
        m_window->m_protocolCombo->setCurrentIndex(1);
        break;
    default:
        m_window->m_providerCombo->setCurrentIndex(1);
    }
    QCOMPARE(inputs.count(), 1);
    QCOMPARE(outputs.count(), 1);
}

void MainWindowTest::applyFiltersWithoutAChange()
{
    add({device("a")});
    QSignalSpy inputs(m_window->m_inputModel, &QAbstractItemModel::modelReset);
    QSignalSpy outputs(m_window->m_outputModel, &QAbstractItemModel::modelReset);
    m_window->applyFilters();
    QCOMPARE(inputs.count(), 0);
    QCOMPARE(outputs.count(), 0);
}

void MainWindowTest::choices()
{
    add({withProtocol(device("a", Direction::controlOnly), QStringLiteral("upnp"), QStringLiteral("ssdp")),
         withProtocol(device("b"), QStringLiteral("NDI"), QString()),
         withProtocol(device("c"), QStringLiteral("ndi"), QStringLiteral("airplay")),
         withProtocol(device("d"), QStringLiteral("  "), QStringLiteral("SSDP"))});
    QCOMPARE(texts(m_window->m_protocolCombo),
             (QStringList{QStringLiteral("All Protocols"), QStringLiteral("NDI"), QStringLiteral("upnp")}));
    QCOMPARE(
        texts(m_window->m_providerCombo),
        (QStringList{QStringLiteral("All Providers"), QStringLiteral("airplay"), QStringLiteral("ssdp")}));
    for (const QComboBox *combo : {m_window->m_protocolCombo, m_window->m_providerCombo}) {
        QVERIFY(combo->itemIcon(0).isNull());
        QVERIFY(!combo->itemData(0).isValid());
        QCOMPARE(combo->currentIndex(), 0);
    }
}

void MainWindowTest::choicesIgnoreTheFilters()
{
    add({device("a"), withProtocol(device("b"), QStringLiteral("rtsp"), QStringLiteral("mdns"))});
    m_window->m_searchEdit->setText(QStringLiteral("nothing has this"));
    m_window->refreshFilterChoices();
    QCOMPARE(texts(m_window->m_protocolCombo).size(), 3);
    QCOMPARE(texts(m_window->m_providerCombo).size(), 3);
}

void MainWindowTest::choicesSendNoSignal()
{
    add({device("a")});
    m_window->m_protocolCombo->setCurrentText(QStringLiteral("ndi"));
    QSignalSpy protocols(m_window->m_protocolCombo, &QComboBox::currentTextChanged);
    QSignalSpy providers(m_window->m_providerCombo, &QComboBox::currentTextChanged);
    QVERIFY(m_window->m_registry.remove(keyOf("a"))); // the chosen item goes
    m_window->refreshFilterChoices();
    QCOMPARE(protocols.count(), 0);
    QCOMPARE(providers.count(), 0);
    QVERIFY(!m_window->m_protocolCombo->signalsBlocked());
    QVERIFY(!m_window->m_providerCombo->signalsBlocked());
}

void MainWindowTest::choiceStaysAcrossARepopulation()
{
    add({device("a"), withProtocol(device("b"), QStringLiteral("rtsp"), QStringLiteral("mdns"))});
    m_window->m_protocolCombo->setCurrentText(QStringLiteral("rtsp"));
    m_window->m_providerCombo->setCurrentText(QStringLiteral("mdns"));
    add({withProtocol(device("c"), QStringLiteral("airplay"), QStringLiteral("cast"))});
    QCOMPARE(m_window->m_protocolCombo->currentText(), QStringLiteral("rtsp"));
    QCOMPARE(m_window->m_providerCombo->currentText(), QStringLiteral("mdns"));
    QCOMPARE(rows(m_window->m_inputView), QStringList{QStringLiteral("b (RTSP)")});
}

void MainWindowTest::choiceFallsBackWhileTheFilterStays()
{
    add({device("a"), withProtocol(device("b"), QStringLiteral("rtsp"), QStringLiteral("mdns"))});
    m_window->m_protocolCombo->setCurrentText(QStringLiteral("rtsp"));
    QVERIFY(m_window->m_registry.remove(keyOf("b")));
    QCOMPARE(m_window->m_protocolCombo->currentText(), QStringLiteral("All Protocols"));
    QCOMPARE(rows(m_window->m_inputView), QStringList());
    // Also across the next report and the next pass.
    add({device("c")});
    m_window->startScan(true);
    QCOMPARE(rows(m_window->m_inputView), QStringList());
    // Any filter brings the lists back.
    m_window->m_statusCombo->setCurrentText(QStringLiteral("Online"));
    QCOMPARE(rows(m_window->m_inputView),
             (QStringList{QStringLiteral("a (NDI)"), QStringLiteral("c (NDI)")}));
}

void MainWindowTest::nothingSelected()
{
    add({device("a")});
    m_window->updateInspector();
    QCOMPARE(m_window->m_detailsView->toPlainText(), QString());
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), QString());
}

void MainWindowTest::inspectorFollowsTheCurrentRow_data()
{
    deviceView_data();
}

void MainWindowTest::inspectorFollowsTheCurrentRow()
{
    QFETCH(bool, isInput);
    QListView *view = isInput ? m_window->m_inputView : m_window->m_outputView;
    add({device("a"), device("b")});
    select(view, 1);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: b"));
    select(view, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));
    view->setCurrentIndex(QModelIndex());
    QCOMPARE(detailsTitle(), QString());
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), QString());
}

void MainWindowTest::outputListWinsOverAnInputListWithoutFocus()
{
    show();
    m_window->m_searchEdit->setFocus();
    add({device("in", Direction::input), device("out", Direction::output)});
    select(m_window->m_outputView, 0);
    select(m_window->m_inputView, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: out"));
    m_window->m_outputView->setCurrentIndex(QModelIndex());
    QCOMPARE(detailsTitle(), QStringLiteral("Name: in"));
}

void MainWindowTest::inputListWinsWithFocus()
{
    show();
    add({device("in 1", Direction::input), device("in 2", Direction::input),
         device("out", Direction::output)});
    select(m_window->m_outputView, 0);
    m_window->m_inputView->setFocus();
    QVERIFY(m_window->m_inputView->hasFocus());
    select(m_window->m_inputView, 1);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: in 2"));
    // The focus decides, also over a later change in the output list.
    m_window->m_outputView->setCurrentIndex(QModelIndex());
    select(m_window->m_outputView, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: in 2"));
}

void MainWindowTest::clickBackIntoTheInputList_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("title");
    QTest::newRow("the current row") << 0 << "Name: in 1";
    QTest::newRow("another row") << 1 << "Name: in 2";
}

void MainWindowTest::clickBackIntoTheInputList()
{
    QFETCH(int, row);
    show();
    add({device("in 1", Direction::input), device("in 2", Direction::input),
         device("out", Direction::output)});
    const auto click = [this](const QListView *view, int index) {
        QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, middleOfRow(view, index));
    };
    click(m_window->m_inputView, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: in 1"));
    click(m_window->m_outputView, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: out"));
    click(m_window->m_inputView, row);
    QTEST(detailsTitle(), "title");
    click(m_window->m_outputView, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: out"));
}

void MainWindowTest::focusedInputListWithoutACurrentRow()
{
    show();
    add({device("in", Direction::input), device("out", Direction::output)});
    m_window->m_inputView->setFocus();
    m_window->m_inputView->setCurrentIndex(QModelIndex()); // a list that gets the focus takes a row
    select(m_window->m_outputView, 0);
    QVERIFY(m_window->m_inputView->hasFocus());
    QCOMPARE(detailsTitle(), QStringLiteral("Name: out"));
}

void MainWindowTest::keyboardMovesTheInspector()
{
    show();
    add({device("a"), device("b")});
    m_window->m_inputView->setFocus();
    QTest::keyClick(m_window->m_inputView, Qt::Key_Home);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));
    QTest::keyClick(m_window->m_inputView, Qt::Key_Down);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: b"));
}

void MainWindowTest::inspectorEmpties_data()
{
    QTest::addColumn<QString>("cause");
    for (const char *cause : {"report of the device", "report of another device", "removal of the device",
                              "removal of another device", "search", "status", "pass", "empty pass"}) {
        QTest::newRow(cause) << QString::fromLatin1(cause);
    }
}

void MainWindowTest::inspectorEmpties()
{
    QFETCH(QString, cause);
    add({device("a"), device("b")});
    select(m_window->m_inputView, 0);
    select(m_window->m_outputView, 0);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));

    const Devices known{device("a")};
    const QHash<QString, Action> causes{
        {QStringLiteral("report of the device"), [&] { add(known); }},
        {QStringLiteral("report of another device"), [&] { add({device("b")}); }},
        {QStringLiteral("removal of the device"), [&] { m_window->m_registry.remove(keyOf("a")); }},
        {QStringLiteral("removal of another device"), [&] { m_window->m_registry.remove(keyOf("b")); }},
        {QStringLiteral("search"), [&] { m_window->m_searchEdit->setText(QStringLiteral("a")); }},
        {QStringLiteral("status"), [&] { m_window->m_statusCombo->setCurrentIndex(1); }},
        {QStringLiteral("pass"),
         [&] {
             m_first->script = [&](QString *) { return known; };
             m_window->startScan(false);
         }},
    };
    if (!causes.contains(cause)) {
        // Without a signal of the registry nothing is reset, and the selection stays.
        m_window->startScan(false);
        QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));
        return;
    }
    causes.value(cause)();
    QCOMPARE(m_window->m_detailsView->toPlainText(), QString());
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), QString());
    QVERIFY(!m_window->m_inputView->currentIndex().isValid());
    QVERIFY(!m_window->m_outputView->currentIndex().isValid());
}

void MainWindowTest::inspectorKeepsItsTextWhenADeviceIsAdded()
{
    add({device("a")});
    select(m_window->m_inputView, 0);
    const QString json = m_window->m_rawJsonView->toPlainText();
    QString afterTheAddition;
    m_first->script = [](QString *) { return Devices{device("b")}; };
    m_second->script = [&](QString *) {
        afterTheAddition = detailsTitle();
        return Devices();
    };
    add({device("c")});
    QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), json);
    QVERIFY(!m_window->m_inputView->currentIndex().isValid());

    m_window->startScan(false);
    QCOMPARE(afterTheAddition, QStringLiteral("Name: a"));
    QCOMPARE(detailsTitle(), QString()); // at the latest at the end of the pass
}

void MainWindowTest::inspectorKeepsItsTextWithoutAChangeOfFilters()
{
    add({device("a")});
    select(m_window->m_inputView, 0);
    m_window->applyFilters();
    QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));
    QVERIFY(m_window->m_inputView->currentIndex().isValid());
}

void MainWindowTest::inspectorOfADeviceWithoutAKey()
{
    add({device("a")});
    select(m_window->m_inputView, 0);
    const bool blocked = m_window->m_registry.blockSignals(true);
    QVERIFY(m_window->m_registry.remove(keyOf("a"))); // the list still has the row
    m_window->m_registry.blockSignals(blocked);
    m_window->updateInspector();
    QCOMPARE(m_window->m_detailsView->toPlainText(), QString());
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), QString());
}

void MainWindowTest::details_data()
{
    QTest::addColumn<DeviceRecord>("record");
    QTest::addColumn<QStringList>("lines");

    const QDateTime seen(QDate(2024, 7, 3), QTime(12, 30, 15, 250), Qt::UTC);
    const QString local = seen.toLocalTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz"));
    DeviceRecord full;
    full.id = QStringLiteral("UUID-1");
    full.displayName = QStringLiteral("Camera %1");
    full.vendor = QStringLiteral("Acme");
    full.model = QStringLiteral("C-1");
    full.serial = QStringLiteral("0042");
    full.firmware = QStringLiteral("1.2");
    full.hostname = QStringLiteral("cam.local");
    full.addresses = QStringList{QStringLiteral("10.0.0.7"), QStringLiteral("fe80::1%2")};
    full.provider = QStringLiteral("mdns");
    full.protocol = QStringLiteral("rtsp");
    full.direction = Direction::input;
    full.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata;
    full.ttlSeconds = 120;
    full.firstSeen = seen;
    full.lastSeen = seen;
    full.lastChanged = seen;
    EndpointRecord stream;
    stream.label = QStringLiteral("Main");
    stream.protocol = QStringLiteral("rtsp");
    stream.direction = Direction::output;
    stream.url = QStringLiteral("rtsp://cam.local/main");
    full.endpoints = {stream, EndpointRecord()};
    QTest::newRow("full") << full
                          << QStringList{QStringLiteral("Name: Camera %1"),
                                         QStringLiteral("Stable key: device-id:uuid-1"),
                                         QStringLiteral("ID: UUID-1"),
                                         QStringLiteral("Provider: mdns"),
                                         QStringLiteral("Protocol: rtsp"),
                                         QStringLiteral("Direction: input"),
                                         QStringLiteral("Status: Online"),
                                         QStringLiteral("TTL seconds: 120"),
                                         QStringLiteral("Capabilities: audio, video, metadata"),
                                         QStringLiteral("Vendor: Acme"),
                                         QStringLiteral("Model: C-1"),
                                         QStringLiteral("Serial: 0042"),
                                         QStringLiteral("Firmware: 1.2"),
                                         QStringLiteral("Hostname: cam.local"),
                                         QStringLiteral("IPs: 10.0.0.7, fe80::1%2"),
                                         QStringLiteral("First seen: ") + local,
                                         QStringLiteral("Last seen: ") + local,
                                         QStringLiteral("Last changed: ") + local,
                                         QString(),
                                         QStringLiteral("Endpoints:"),
                                         QStringLiteral("Main | rtsp | output | rtsp://cam.local/main"),
                                         QStringLiteral("- | - | unknown | -")};

    DeviceRecord bare;
    bare.hostname = QStringLiteral(" host ");
    bare.displayName = QStringLiteral("  ");
    bare.online = false;
    QTest::newRow("bare") << bare
                          << QStringList{QStringLiteral("Name: -"),
                                         QStringLiteral("Stable key: device-host:host"),
                                         QStringLiteral("ID: -"),
                                         QStringLiteral("Provider: -"),
                                         QStringLiteral("Protocol: -"),
                                         QStringLiteral("Direction: unknown"),
                                         QStringLiteral("Status: Offline"),
                                         QStringLiteral("TTL seconds: -"),
                                         QStringLiteral("Capabilities: "),
                                         QStringLiteral("Vendor: -"),
                                         QStringLiteral("Model: -"),
                                         QStringLiteral("Serial: -"),
                                         QStringLiteral("Firmware: -"),
                                         QStringLiteral("Hostname:  host "),
                                         QStringLiteral("IPs: -"),
                                         QStringLiteral("First seen: -"),
                                         QStringLiteral("Last seen: -"),
                                         QStringLiteral("Last changed: -"),
                                         QString(),
                                         QStringLiteral("Endpoints:"),
                                         QStringLiteral("-")};
}

void MainWindowTest::details()
{
    QFETCH(DeviceRecord, record);
    QFETCH(QStringList, lines);
    m_window->showDeviceDetails(record);
    QCOMPARE(m_window->m_detailsView->toPlainText().split(QLatin1Char('\n')), lines);
    QCOMPARE(m_window->m_rawJsonView->toPlainText().trimmed(), indentedJson(record).trimmed());
}

void MainWindowTest::detailsOfTheSelectedDevice()
{
    add({withUrls(device("a"), {QStringLiteral("rtsp://10.0.0.1/")})});
    select(m_window->m_outputView, 0);
    const QString shown = m_window->m_detailsView->toPlainText();
    m_window->showDeviceDetails(m_window->m_registry.record(keyOf("a")));
    QCOMPARE(shown, m_window->m_detailsView->toPlainText());
    QVERIFY(shown.endsWith(QLatin1String("\nEndpoints:\nStream | rtsp | unknown | rtsp://10.0.0.1/")));
}

void MainWindowTest::rawJson()
{
    DeviceRecord record = withUrls(device("a"), {QStringLiteral("rtsp://10.0.0.1/")});
    record.displayName = QString::fromUtf8("K\u00e1mera \u65e5\u672c <b>");
    record.protocolData.insert(QStringLiteral("mdns.type"), QStringLiteral("_rtsp._tcp"));
    add({record});
    select(m_window->m_inputView, 0);
    const DeviceRecord stored = m_window->m_registry.record(keyOf("a"));
    QCOMPARE(m_window->m_rawJsonView->toPlainText(), indentedJson(stored));
    QJsonParseError error;
    const QJsonDocument shown =
        QJsonDocument::fromJson(m_window->m_rawJsonView->toPlainText().toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(shown.object(), Sondrix::deviceToJson(stored));
}

void MainWindowTest::textOfTheNetworkIsPlain()
{
    DeviceRecord record = device("a");
    record.displayName = QStringLiteral("<h1>loud</h1>&amp;");
    m_window->showDeviceDetails(record);
    QCOMPARE(detailsTitle(), QStringLiteral("Name: <h1>loud</h1>&amp;"));
}

void MainWindowTest::toolTipIsPlain()
{
    show();
    DeviceRecord record = device("a", Direction::input);
    record.displayName = QStringLiteral("<img src='//10.0.0.66/share/x.png'>");
    record.addresses = QStringList{QStringLiteral("10.0.0.1")};
    add({record});
    QWidget *viewport = m_window->m_inputView->viewport();
    const QPoint position = middleOfRow(m_window->m_inputView, 0);
    QHelpEvent event(QEvent::ToolTip, position, viewport->mapToGlobal(position));
    QVERIFY(QCoreApplication::sendEvent(viewport, &event));
    QVERIFY(QToolTip::isVisible());
    const QString tip = QToolTip::text();
    QToolTip::hideText();
    // What of the markup a reader gets to see is the markup itself.
    QTextDocument shown;
    if (Qt::mightBeRichText(tip)) {
        shown.setHtml(tip);
    } else {
        shown.setPlainText(tip);
    }
    QCOMPARE(shown.toPlainText(), m_window->m_inputModel->index(0, 0).data(Qt::ToolTipRole).toString());
}

void MainWindowTest::menuEntries()
{
    show();
    add({device("a")});
    QStringList entries;
    const QObject *parent = nullptr;
    QVERIFY(inMenu(m_window->m_inputView, 0, [&](QMenu *menu) {
        entries = texts(menu);
        parent = menu->parent();
    }));
    QCOMPARE(entries, (QStringList{QStringLiteral("Copy Primary URL"), QStringLiteral("Copy All URLs"),
                                   QStringLiteral("Copy Device JSON"), QStringLiteral("Open Device Web UI"),
                                   QStringLiteral("-"), QStringLiteral("Refresh This Device"),
                                   QStringLiteral("Remove Until Rediscovered")}));
    QCOMPARE(parent, m_window.data());
    QVERIFY(m_window->findChildren<QMenu *>().isEmpty()); // and gone afterwards
}

void MainWindowTest::menuPosition()
{
    show();
    add({device("a")});
    QPoint corner;
    QVERIFY(inMenu(m_window->m_inputView, 0, [&](QMenu *menu) { corner = menu->pos(); }));
    QCOMPARE(corner, m_window->m_inputView->viewport()->mapToGlobal(middleOfRow(m_window->m_inputView, 0)));
}

void MainWindowTest::menuOpensOnARequest_data()
{
    deviceView_data();
}

void MainWindowTest::menuOpensOnARequest()
{
    QFETCH(bool, isInput);
    QListView *view = isInput ? m_window->m_inputView : m_window->m_outputView;
    show();
    add({device("in", Direction::input), device("out", Direction::output)});
    QTimer visitor;
    bool hasOpened = false;
    connect(&visitor, &QTimer::timeout, this, [&] {
        if (auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
            hasOpened = true;
            QAction *copy = actionOf(menu, QStringLiteral("Copy Device JSON"));
            menu->setActiveAction(copy);
            QTest::keyClick(menu, Qt::Key_Return);
        }
    });
    visitor.start(0);
    const QPoint position = middleOfRow(view, 0);
    QContextMenuEvent event(QContextMenuEvent::Mouse, position, view->viewport()->mapToGlobal(position));
    QCoreApplication::sendEvent(view->viewport(), &event);
    QVERIFY(hasOpened);
    QCOMPARE(QApplication::clipboard()->text(),
             indentedJson(m_window->m_registry.record(keyOf(isInput ? "in" : "out"))));
}

void MainWindowTest::menuStates_data()
{
    QTest::addColumn<QStringList>("urls");
    QTest::addColumn<QStringList>("disabled");
    const QString primary = QStringLiteral("Copy Primary URL");
    const QString all = QStringLiteral("Copy All URLs");
    const QString open = QStringLiteral("Open Device Web UI");
    QTest::newRow("no endpoints") << QStringList() << QStringList{primary, all, open};
    QTest::newRow("blank URL") << QStringList{QStringLiteral("  ")} << QStringList{primary, all, open};
    QTest::newRow("rtsp") << QStringList{QStringLiteral("rtsp://10.0.0.1/")} << QStringList{open};
    QTest::newRow("rtsp and http") << QStringList{QStringLiteral("rtsp://10.0.0.1/"),
                                                  QStringLiteral("http://10.0.0.1/")}
                                   << QStringList();
    QTest::newRow("HTTPS in capitals") << QStringList{QStringLiteral("HTTPS://10.0.0.1/")} << QStringList();
    QTest::newRow("file") << QStringList{QStringLiteral("file:///etc/passwd")} << QStringList{open};
}

void MainWindowTest::menuStates()
{
    QFETCH(QStringList, urls);
    show();
    add({withUrls(device("a"), urls)});
    QStringList disabled;
    QVERIFY(inMenu(m_window->m_outputView, 0, [&](QMenu *menu) {
        for (const QAction *action : menu->actions()) {
            if (!action->isEnabled()) {
                disabled.append(action->text());
            }
        }
    }));
    QTEST(disabled, "disabled");
}

void MainWindowTest::noMenu_data()
{
    QTest::addColumn<int>("opening");
    QTest::newRow("empty area") << 0;
    QTest::newRow("no view") << 1;
    QTest::newRow("no model") << 2;
    QTest::newRow("device without a key") << 3;
}

void MainWindowTest::noMenu()
{
    QFETCH(int, opening);
    show();
    add({device("a")});
    QListView *view = m_window->m_inputView;
    DeviceListModel *model = m_window->m_inputModel;
    const QPoint onTheRow = middleOfRow(view, 0);
    const QPoint below(onTheRow.x(), view->viewport()->height() - 2);
    QTimer visitor;
    bool hasOpened = false;
    connect(&visitor, &QTimer::timeout, this, [&] {
        if (QWidget *popup = QApplication::activePopupWidget()) {
            hasOpened = true;
            popup->close();
        }
    });
    visitor.start(0);
    switch (opening) {
    case 0:
        QVERIFY(!view->indexAt(below).isValid());
        m_window->showDeviceContextMenu(view, model, below);
        break;
    case 1:
        m_window->showDeviceContextMenu(nullptr, model, onTheRow);
        break;
    case 2:
        m_window->showDeviceContextMenu(view, nullptr, onTheRow);
        break;
    default:
        m_window->m_registry.blockSignals(true);
        QVERIFY(m_window->m_registry.remove(keyOf("a"))); // the list still has the row
        m_window->m_registry.blockSignals(false);
        m_window->showDeviceContextMenu(view, model, onTheRow);
    }
    QVERIFY(!hasOpened);
}

void MainWindowTest::menuDismissed()
{
    show();
    add({withUrls(device("a"), {QStringLiteral("http://10.0.0.1/")})});
    QVERIFY(inMenu(m_window->m_inputView, 0, [](QMenu *menu) { QTest::keyClick(menu, Qt::Key_Escape); }));
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("untouched"));
    QVERIFY(m_openedPages.isEmpty());
    QCOMPARE(m_first->scanCount, 0);
    QCOMPARE(m_window->m_registry.records().size(), 1);
}

void MainWindowTest::copyPrimaryUrl()
{
    show();
    add({withUrls(device("a"), {QStringLiteral(" "), QStringLiteral(" rtsp://10.0.0.1/ "),
                                QStringLiteral("http://10.0.0.1/")})});
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Copy Primary URL")));
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("rtsp://10.0.0.1/"));
}

void MainWindowTest::copyAllUrls()
{
    show();
    add({withUrls(device("a"), {QStringLiteral("rtsp://10.0.0.1/"), QStringLiteral("RTSP://10.0.0.1/"),
                                QStringLiteral("http://10.0.0.1/")})});
    QVERIFY(chooseInMenu(m_window->m_outputView, 0, QStringLiteral("Copy All URLs")));
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("rtsp://10.0.0.1/\nhttp://10.0.0.1/"));
}

void MainWindowTest::copyDeviceJson()
{
    show();
    DeviceRecord record = device("a");
    record.displayName = QString::fromUtf8("K\u00e1mera");
    add({record});
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Copy Device JSON")));
    QCOMPARE(QApplication::clipboard()->text(), indentedJson(m_window->m_registry.record(keyOf("a"))));
}

void MainWindowTest::openWebUi_data()
{
    QTest::addColumn<QStringList>("urls");
    QTest::addColumn<QByteArray>("opened");
    QTest::newRow("the first web page")
        << QStringList{QStringLiteral("rtsp://10.0.0.1/"), QStringLiteral("http://10.0.0.1:8080/a?b=c"),
                       QStringLiteral("https://10.0.0.1/")}
        << QByteArray("http://10.0.0.1:8080/a?b=c");
    QTest::newRow("with a blank inside") << QStringList{QStringLiteral("https://10.0.0.1/a b%zz")}
                                         << QByteArray("https://10.0.0.1/a%20b%25zz");
    QTest::newRow("scheme in capitals")
        << QStringList{QStringLiteral("HTTP://10.0.0.1/")} << QByteArray("http://10.0.0.1/");
}

void MainWindowTest::openWebUi()
{
    QFETCH(QStringList, urls);
    QFETCH(QByteArray, opened);
    show();
    add({withUrls(device("a"), urls)});
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Open Device Web UI")));
    QCOMPARE(m_openedPages, QList<QByteArray>{opened});
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("untouched"));
}

void MainWindowTest::refreshThisDevice()
{
    show();
    add({device("a")});
    QString duringThePass;
    m_first->script = [&](QString *) {
        duringThePass = activity();
        return Devices();
    };
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Refresh This Device")));
    QCOMPARE(duringThePass, QStringLiteral("Refreshing.../active"));
    QCOMPARE(m_first->scanCount, 1); // a pass over all providers, like that of the button
    QCOMPARE(m_second->scanCount, 1);
    QCOMPARE(activity(), QStringLiteral("Refresh complete/idle"));
}

void MainWindowTest::removeUntilRediscovered()
{
    show();
    add({device("a"), device("b")});
    QSignalSpy removals(&m_window->m_registry, &DeviceRegistry::deviceRemoved);
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Remove Until Rediscovered")));
    QCOMPARE(removals.size(), 1);
    QCOMPARE(removals.first().first().toString(), keyOf("a"));
    QCOMPARE(rows(m_window->m_inputView), QStringList{QStringLiteral("b (NDI)")});
    QCOMPARE(rows(m_window->m_outputView), QStringList{QStringLiteral("b (NDI)")});
    QCOMPARE(m_first->scanCount, 0);

    QSignalSpy additions(&m_window->m_registry, &DeviceRegistry::deviceAdded);
    m_first->script = [](QString *) { return Devices{device("a")}; };
    m_window->startScan(false);
    QCOMPARE(additions.size(), 1);
    QCOMPARE(rows(m_window->m_inputView).size(), 2);
}

void MainWindowTest::disabledEntryDoesNothing()
{
    show();
    add({device("a")});
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Copy Primary URL")));
    QVERIFY(chooseInMenu(m_window->m_inputView, 0, QStringLiteral("Open Device Web UI")));
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("untouched"));
    QVERIFY(m_openedPages.isEmpty());
}

void MainWindowTest::menuActsOnTheRowUnderThePointer()
{
    show();
    add({device("a"), device("b")});
    select(m_window->m_inputView, 0);
    QVERIFY(chooseInMenu(m_window->m_inputView, 1, QStringLiteral("Copy Device JSON")));
    QCOMPARE(QApplication::clipboard()->text(), indentedJson(m_window->m_registry.record(keyOf("b"))));
    QCOMPARE(detailsTitle(), QStringLiteral("Name: a"));
}

void MainWindowTest::deviceVanishesWhileTheMenuIsOpen_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("clipboard");
    QTest::newRow("remove") << "Remove Until Rediscovered"
                            << "untouched";
    QTest::newRow("copy") << "Copy Primary URL"
                          << "http://10.0.0.1/";
}

void MainWindowTest::deviceVanishesWhileTheMenuIsOpen()
{
    QFETCH(QString, entry);
    show();
    add({withUrls(device("a"), {QStringLiteral("http://10.0.0.1/")}), device("b")});
    QSignalSpy removals(&m_window->m_registry, &DeviceRegistry::deviceRemoved);
    QVERIFY(inMenu(m_window->m_inputView, 0, [&](QMenu *menu) {
        m_window->m_registry.remove(keyOf("a"));
        QAction *action = actionOf(menu, entry);
        QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, menu->actionGeometry(action).center());
    }));
    QCOMPARE(removals.size(), 1); // the one above
    QCOMPARE(rows(m_window->m_inputView), QStringList{QStringLiteral("b (NDI)")});
    QTEST(QApplication::clipboard()->text(), "clipboard");
}

void MainWindowTest::destruction_data()
{
    QTest::addColumn<bool>("isShown");
    QTest::addColumn<bool>("hasFocus");
    QTest::newRow("never shown") << false << false;
    QTest::newRow("shown") << true << false;
    QTest::newRow("with the focus in a list") << true << true;
}

void MainWindowTest::destruction()
{
    QFETCH(bool, isShown);
    QFETCH(bool, hasFocus);
    if (isShown) {
        show();
    }
    m_window->startScan(false); // the indicator's timer runs
    add({device("a"), device("b")});
    select(m_window->m_inputView, 1);
    select(m_window->m_outputView, 0);
    if (hasFocus) {
        m_window->m_inputView->setFocus();
    }
    QPointer<DeviceRegistry> registry = &m_window->m_registry;
    int goneBeforeTheRegistry = 0;
    const QList<QObject *> readers{m_window->m_inputModel, m_window->m_outputModel, m_window->m_inputView,
                                   m_window->m_outputView};
    for (const QObject *reader : readers) {
        connect(reader, &QObject::destroyed, this, [&] { goneBeforeTheRegistry += registry ? 1 : 0; });
    }
    QPointer<DeviceListModel> inputs = m_window->m_inputModel;
    QPointer<QListView> view = m_window->m_inputView;
    QPointer<ProductAdRotator> banner = m_window->m_adRotator;
    m_window.reset();
    QCOMPARE(goneBeforeTheRegistry, 4);
    QVERIFY(inputs.isNull());
    QVERIFY(view.isNull());
    QVERIFY(banner.isNull());
    QVERIFY(m_first.isNull());
    QVERIFY(m_second.isNull());
    QCoreApplication::processEvents();
}

QTEST_MAIN(MainWindowTest)
#include "main_window_test.moc"
