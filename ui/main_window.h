#pragma once

#include <QMainWindow>

#include "core/device_registry.h"
#include "core/discovery_manager.h"

class DeviceListModel;
class ProductAdRotator;
class QBoxLayout;
class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPlainTextEdit;
class QPoint;
class QTabWidget;
class QTextEdit;
class QTimer;

/// The application's only window: the two device lists with their filters, the inspector, the
/// activity indicator and the banner, over a registry and a manager of its own. The first pass
/// begins a second after construction.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    /// Runs one pass, blocking. refresh tells a pass that the user asked for from the first one.
    void startScan(bool refresh);

    /// Sets the indicator's text and its state for the style sheet: "idle", "active" or "adding".
    /// With pumpEvents it is painted at once, without letting user input in.
    void setActivity(const QString &text, const QString &state, bool pumpEvents);
    void setActivityIdle();

    /// Hands the search text and the three filters to both lists.
    void applyFilters();

    /// Fills the protocol and provider combos anew, without applying a filter.
    void refreshFilterChoices();

    /// Rewrites the line of counts over all devices.
    void updateSummary();

    /// Shows the device that the lists point at, or nothing.
    void updateInspector();
    void showDeviceDetails(const Sondrix::DeviceRecord &record);

    /// Opens the menu of the row at the position, in the view's coordinates, and does what is chosen.
    void showDeviceContextMenu(QListView *view, DeviceListModel *model, const QPoint &position);

private:
    friend class MainWindowTest;

    void buildHeader(QBoxLayout *mainLayout);
    void buildFilters(QBoxLayout *mainLayout);
    void buildPanes(QBoxLayout *mainLayout);
    QListView *createDeviceView(DeviceListModel *model);
    void connectSignals();

    Sondrix::DeviceRegistry m_registry;
    Sondrix::DiscoveryManager m_manager;
    DeviceListModel *m_inputModel = nullptr;
    DeviceListModel *m_outputModel = nullptr;
    QListView *m_inputView = nullptr;
    QListView *m_outputView = nullptr;
    QLineEdit *m_searchEdit = nullptr;
    QComboBox *m_statusCombo = nullptr;
    QComboBox *m_protocolCombo = nullptr;
    QComboBox *m_providerCombo = nullptr;
    QLabel *m_activityLabel = nullptr;
    QTimer *m_activityResetTimer = nullptr;
    bool m_refreshMode = false;
    QLabel *m_summaryLabel = nullptr;
    ProductAdRotator *m_adRotator = nullptr;
    QTabWidget *m_inspectorTabs = nullptr;
    QTextEdit *m_detailsView = nullptr;
    QPlainTextEdit *m_rawJsonView = nullptr;
};
