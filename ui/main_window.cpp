#include "ui/main_window.h"

#include <QClipboard>
#include <QComboBox>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QTextEdit>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include "core/application_identity.h"
#include "core/discovery_config.h"
#include "ui/device_details.h"
#include "ui/device_list_model.h"
#include "ui/device_row_delegate.h"
#include "ui/product_ad_rotator.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::DiscoveryManager;

namespace
{

constexpr int firstScanDelayMs = 1000;     // the window is on the screen first
constexpr int activityResetDelayMs = 2500; // long enough to read the result of a pass

/// Fills the combo with the entry for no filter and the choices, and keeps the chosen text where it
/// is still among them. No signal goes out.
void fillCombo(QComboBox *combo, const QString &noFilter, const QStringList &choices)
{
    const QString chosen = combo->currentText();
    combo->blockSignals(true);
    combo->clear();
    combo->insertItem(0, QIcon(), noFilter, QVariant());
    combo->insertItems(1, choices);
    if (!chosen.isEmpty()) {
        combo->setCurrentText(chosen);
    }
    combo->blockSignals(false);
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_manager(&m_registry, this)
    , m_inputModel(new DeviceListModel(&m_registry, ListSide::Inputs, this))
    , m_outputModel(new DeviceListModel(&m_registry, ListSide::Outputs, this))
    , m_activityResetTimer(new QTimer(this))
{
    setWindowTitle(tr("CorvaneTVSondrix - ") + Sondrix::organizationWebHost());
    resize(1180, 720);
    m_activityResetTimer->setSingleShot(true);

    auto *central = new QWidget(this);
    auto *mainLayout = new QVBoxLayout(central);
    mainLayout->setContentsMargins(10, 10, 10, 10);
    buildHeader(mainLayout);
    buildFilters(mainLayout);
    m_summaryLabel = new QLabel(central);
    m_summaryLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_summaryLabel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    mainLayout->addWidget(m_summaryLabel, 0);
    buildPanes(mainLayout);
    m_adRotator = new ProductAdRotator(central);
    m_adRotator->setAccessibleName(tr("Product information"));
    m_adRotator->setAccessibleDescription(tr("A click opens the product's page in the browser"));
    mainLayout->addWidget(m_adRotator, 0);
    setCentralWidget(central);

    connectSignals();

    m_manager.configureDiscoverers(Sondrix::DiscoveryConfig());
    statusBar()->showMessage(tr("Free edition - REST API disabled"), 0);
    refreshFilterChoices();
    setActivityIdle();
    updateSummary();
    QTimer::singleShot(firstScanDelayMs, this, [this] { startScan(false); });
}

MainWindow::~MainWindow()
{
    // The views and models go while the registry that they read still stands.
    delete takeCentralWidget();
    delete m_inputModel;
    delete m_outputModel;
}

void MainWindow::buildHeader(QBoxLayout *mainLayout)
{
    auto *header = new QHBoxLayout;
    mainLayout->addLayout(header, 0);

    auto *title = new QLabel(tr("Discovered Devices"), this);
    QFont font = title->font();
    font.setPointSize(font.pointSize() + 4);
    font.setWeight(QFont::Bold);
    title->setFont(font);
    header->addWidget(title);
    header->addSpacing(12);

    m_activityLabel = new QLabel(this);
    m_activityLabel->setObjectName(QStringLiteral("activityIndicator"));
    m_activityLabel->setAlignment(Qt::AlignCenter);
    m_activityLabel->setMinimumWidth(150);
    m_activityLabel->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_activityLabel->setAccessibleDescription(tr("What the search is doing"));
    header->addWidget(m_activityLabel);
    header->addStretch(1);

    auto *refreshButton = new QPushButton(tr("Refresh"), this);
    refreshButton->setAccessibleDescription(tr("Search the network again"));
    header->addWidget(refreshButton);
    connect(refreshButton, &QPushButton::clicked, this, [this] { startScan(true); });
}

void MainWindow::buildFilters(QBoxLayout *mainLayout)
{
    auto *filters = new QHBoxLayout;
    mainLayout->addLayout(filters, 0);

    m_searchEdit = new QLineEdit(this);
    m_searchEdit->setPlaceholderText(tr("Search"));
    m_searchEdit->setAccessibleName(tr("Search"));
    m_searchEdit->setAccessibleDescription(tr("Shows only devices that have this text"));
    filters->addWidget(m_searchEdit, 2);

    m_statusCombo = new QComboBox(this);
    m_statusCombo->addItems({tr("Any Status"), tr("Online"), tr("Offline")});
    m_statusCombo->setAccessibleName(tr("Status filter"));
    m_statusCombo->setAccessibleDescription(tr("Shows only devices of this status"));
    filters->addWidget(m_statusCombo, 0);

    m_protocolCombo = new QComboBox(this);
    m_protocolCombo->insertItem(0, QIcon(), tr("All Protocols"), QVariant());
    m_protocolCombo->setAccessibleName(tr("Protocol filter"));
    m_protocolCombo->setAccessibleDescription(tr("Shows only devices of this protocol"));
    filters->addWidget(m_protocolCombo, 0);

    m_providerCombo = new QComboBox(this);
    m_providerCombo->insertItem(0, QIcon(), tr("All Providers"), QVariant());
    m_providerCombo->setAccessibleName(tr("Provider filter"));
    m_providerCombo->setAccessibleDescription(tr("Shows only devices of this provider"));
    filters->addWidget(m_providerCombo, 0);
}

void MainWindow::buildPanes(QBoxLayout *mainLayout)
{
    auto *splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    mainLayout->addWidget(splitter, 1);

    auto *lists = new QWidget(splitter);
    auto *listsLayout = new QHBoxLayout(lists);
    listsLayout->setContentsMargins(0, 0, 0, 0);
    const auto addList = [&](const QString &title, const QString &description, DeviceListModel *model) {
        auto *group = new QGroupBox(title, lists);
        auto *groupLayout = new QVBoxLayout(group);
        QListView *view = createDeviceView(model);
        view->setAccessibleName(title);
        view->setAccessibleDescription(description);
        groupLayout->addWidget(view);
        listsLayout->addWidget(group, 0);
        return view;
    };
    m_inputView = addList(tr("Inputs"), tr("Devices that give a signal"), m_inputModel);
    m_outputView = addList(tr("Outputs"), tr("Devices that take a signal"), m_outputModel);
    splitter->addWidget(lists);

    m_inspectorTabs = new QTabWidget(splitter);
    m_detailsView = new QTextEdit(m_inspectorTabs);
    m_detailsView->setReadOnly(true);
    m_detailsView->setPlaceholderText(tr("Select a device to inspect details."));
    m_detailsView->setAccessibleName(tr("Details"));
    m_inspectorTabs->addTab(m_detailsView, tr("Details"));
    m_rawJsonView = new QPlainTextEdit(m_inspectorTabs);
    m_rawJsonView->setReadOnly(true);
    m_rawJsonView->setPlaceholderText(tr("Select a device to inspect its REST JSON payload."));
    m_rawJsonView->setAccessibleName(tr("Raw JSON"));
    m_inspectorTabs->addTab(m_rawJsonView, tr("Raw JSON"));
    splitter->addWidget(m_inspectorTabs);

    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
}

QListView *MainWindow::createDeviceView(DeviceListModel *model)
{
    auto *view = new QListView(this);
    view->setModel(model);
    view->setItemDelegate(new DeviceRowDelegate(view));
    view->setAlternatingRowColors(true);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(view->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { updateInspector(); });
    // A press on the row that is current already gives this list the focus, which decides too.
    connect(view, &QListView::pressed, this, [this] { updateInspector(); });
    connect(view, &QListView::customContextMenuRequested, this,
            [this, view, model](const QPoint &position) { showDeviceContextMenu(view, model, position); });
    return view;
}

void MainWindow::connectSignals()
{
    connect(m_activityResetTimer, &QTimer::timeout, this, [this] { setActivityIdle(); });
    connect(m_searchEdit, &QLineEdit::textChanged, this, [this] { applyFilters(); });
    for (QComboBox *combo : {m_statusCombo, m_protocolCombo, m_providerCombo}) {
        connect(combo, &QComboBox::currentTextChanged, this, [this] { applyFilters(); });
    }

    connect(&m_registry, &DeviceRegistry::deviceAdded, this, [this] {
        setActivity(tr("Adding devices..."), QStringLiteral("adding"), true);
        refreshFilterChoices();
        updateSummary();
    });
    const auto deviceChanged = [this] {
        refreshFilterChoices();
        updateSummary();
        updateInspector();
    };
    connect(&m_registry, &DeviceRegistry::deviceUpdated, this, deviceChanged);
    connect(&m_registry, &DeviceRegistry::deviceRemoved, this, deviceChanged);

    connect(&m_manager, &DiscoveryManager::scanStarted, this, [this] {
        setActivity(m_refreshMode ? tr("Refreshing...") : tr("Searching..."), QStringLiteral("active"), true);
    });
    connect(&m_manager, &DiscoveryManager::scanFinished, this, [this](int recordsAddedOrUpdated) {
        if (recordsAddedOrUpdated >= 1) {
            setActivity(tr("Added/updated %1").arg(recordsAddedOrUpdated), QStringLiteral("adding"), false);
        } else {
            setActivity(m_refreshMode ? tr("Refresh complete") : tr("Search complete"),
                        QStringLiteral("idle"), false);
        }
        m_activityResetTimer->start(activityResetDelayMs);
        updateSummary();
    });
}

void MainWindow::startScan(bool refresh)
{
    m_refreshMode = refresh;
    setActivity(refresh ? tr("Refreshing...") : tr("Searching..."), QStringLiteral("active"), true);
    m_manager.runPass();
    m_refreshMode = false;
    updateSummary();
    updateInspector();
}

void MainWindow::setActivity(const QString &text, const QString &state, bool pumpEvents)
{
    if (m_activityLabel == nullptr) {
        return;
    }
    if (m_activityResetTimer != nullptr) {
        m_activityResetTimer->stop();
    }
    m_activityLabel->setText(text);
    m_activityLabel->setProperty("activityState", state);
    // The style sheet's attribute selectors are evaluated again only by this.
    m_activityLabel->style()->unpolish(m_activityLabel);
    m_activityLabel->style()->polish(m_activityLabel);
    m_activityLabel->update();
    if (pumpEvents) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
}

void MainWindow::setActivityIdle()
{
    setActivity(tr("Ready"), QStringLiteral("idle"), false);
}

void MainWindow::applyFilters()
{
    const QString search = m_searchEdit->text();
    const QString status = m_statusCombo->currentText();
    const QString protocol = m_protocolCombo->currentText();
    const QString provider = m_providerCombo->currentText();
    for (DeviceListModel *model : {m_inputModel, m_outputModel}) {
        model->setSearchText(search);
        model->setStatusFilter(status);
        model->setProtocolFilter(protocol);
        model->setProviderFilter(provider);
    }
    updateSummary();
    updateInspector();
}

void MainWindow::refreshFilterChoices()
{
    fillCombo(m_protocolCombo, tr("All Protocols"), m_inputModel->availableProtocols());
    fillCombo(m_providerCombo, tr("All Providers"), m_inputModel->availableProviders());
}

void MainWindow::updateSummary()
{
    int total = 0;
    int inputs = 0;
    int outputs = 0;
    int controlOnly = 0;
    int offline = 0;
    m_registry.visitRecords([&](const QString &, const DeviceRecord &record) {
        const bool isBoth = record.direction == Direction::inputOutput;
        ++total;
        inputs += isBoth || record.direction == Direction::input ? 1 : 0;
        outputs += isBoth || record.direction == Direction::output ? 1 : 0;
        controlOnly += record.direction == Direction::controlOnly ? 1 : 0;
        offline += record.online ? 0 : 1;
    });
    m_summaryLabel->setText(tr("%1 devices | %2 inputs | %3 outputs | %4 control-only | %5 offline")
                                .arg(QString::number(total), QString::number(inputs),
                                     QString::number(outputs), QString::number(controlOnly),
                                     QString::number(offline)));
}

void MainWindow::updateInspector()
{
    const auto currentKey = [](const QListView *view, const DeviceListModel *model) {
        return view == nullptr ? QString() : model->stableKeyAt(view->currentIndex());
    };
    // The input list counts first where it has the focus, and last where it has not.
    QString key;
    if (m_inputView != nullptr && m_inputView->hasFocus()) {
        key = currentKey(m_inputView, m_inputModel);
    }
    if (key.isEmpty()) {
        key = currentKey(m_outputView, m_outputModel);
    }
    if (key.isEmpty()) {
        key = currentKey(m_inputView, m_inputModel);
    }
    const DeviceRecord record = key.isEmpty() ? DeviceRecord() : m_registry.record(key);
    if (Sondrix::hasStableKey(record)) {
        showDeviceDetails(record);
    } else {
        m_detailsView->clear();
        m_rawJsonView->clear();
    }
}

void MainWindow::showDeviceDetails(const DeviceRecord &record)
{
    m_detailsView->setPlainText(deviceDetailsText(record));
    m_rawJsonView->setPlainText(deviceJsonText(record));
}

void MainWindow::showDeviceContextMenu(QListView *view, DeviceListModel *model, const QPoint &position)
{
    if (view == nullptr || model == nullptr) {
        return;
    }
    const QModelIndex index = view->indexAt(position);
    if (!index.isValid()) {
        return;
    }
    const DeviceRecord record = model->recordAt(index);
    if (!Sondrix::hasStableKey(record)) {
        return;
    }
    const QString primaryUrl = Sondrix::primaryEndpointUrl(record);
    const QString allUrls = Sondrix::allEndpointUrls(record).join(QLatin1Char('\n'));
    const QString webUrl = Sondrix::webUiUrl(record);

    QMenu menu(this);
    QAction *copyPrimaryUrl = menu.addAction(tr("Copy Primary URL"));
    copyPrimaryUrl->setEnabled(!primaryUrl.isEmpty());
    QAction *copyAllUrls = menu.addAction(tr("Copy All URLs"));
    copyAllUrls->setEnabled(!allUrls.isEmpty());
    const QAction *copyJson = menu.addAction(tr("Copy Device JSON"));
    QAction *openWebUi = menu.addAction(tr("Open Device Web UI"));
    openWebUi->setEnabled(!webUrl.isEmpty());
    menu.addSeparator();
    const QAction *refreshDevice = menu.addAction(tr("Refresh This Device"));
    const QAction *removeDevice = menu.addAction(tr("Remove Until Rediscovered"));

    const QAction *chosen = menu.exec(view->viewport()->mapToGlobal(position));
    if (chosen == nullptr) {
        return;
    }
    if (chosen == copyPrimaryUrl) {
        QGuiApplication::clipboard()->setText(primaryUrl);
    } else if (chosen == copyAllUrls) {
        QGuiApplication::clipboard()->setText(allUrls);
    } else if (chosen == copyJson) {
        QGuiApplication::clipboard()->setText(deviceJsonText(record));
    } else if (chosen == openWebUi) {
        QDesktopServices::openUrl(QUrl(webUrl, QUrl::TolerantMode));
    } else if (chosen == refreshDevice) {
        startScan(true);
    } else if (chosen == removeDevice) {
        m_registry.remove(Sondrix::deviceStableKey(record));
    }
}
