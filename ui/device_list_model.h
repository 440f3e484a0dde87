#pragma once

#include <QAbstractListModel>
#include <QStringList>

#include "core/device_record.h"

namespace Sondrix
{
class DeviceRegistry;
}

/// Which half of the devices a list shows; a device that does both stands in each.
enum class ListSide { Inputs = 0, Outputs = 1 };

/// The rows of one device list: the stable keys of the devices that pass its side, the filters and
/// the search, in ascending order. Every read of a row goes to the registry.
class DeviceListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Roles { StableKeyRole = Qt::UserRole + 1, ProtocolRole, ProviderRole };

    /// The registry is not owned and may be null. The model is filled when it is constructed, and
    /// anew at each signal of the registry.
    DeviceListModel(Sondrix::DeviceRegistry *registry, ListSide side, QObject *parent = nullptr);
    ~DeviceListModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

    /// Each setter rebuilds the rows, unless its value stands already.
    void setSearchText(const QString &text);
    void setProtocolFilter(const QString &text);
    void setProviderFilter(const QString &text);
    void setStatusFilter(const QString &text);

    /// The distinct protocols and providers of all devices, whatever the filters, sorted without
    /// regard to case; of spellings that differ only in case, the first by stable key.
    QStringList availableProtocols() const;
    QStringList availableProviders() const;

    /// A copy of the row's record; a default record for an index that is none of the model's.
    Sondrix::DeviceRecord recordAt(const QModelIndex &index) const;

    /// The row's stable key; empty for an index that is none of the model's.
    QString stableKeyAt(const QModelIndex &index) const;

    /// Whether any of the record's texts holds the search text, letter case ignored.
    bool matchesSearch(const Sondrix::DeviceRecord &record) const;

public slots:
    /// Rebuilds the rows from the registry.
    void refresh();

private:
    bool isVisible(const Sondrix::DeviceRecord &record, const QString &needle) const;
    void setFilter(QString &filter, const QString &value);
    QStringList distinctValues(QString Sondrix::DeviceRecord::*field) const;

    Sondrix::DeviceRegistry *m_registry;
    ListSide m_side;
    QString m_searchText; // as typed
    QString m_protocolFilter;
    QString m_providerFilter;
    QString m_statusFilter;
    QStringList m_rows;
};

/// The line of a device in a list: its name and, in brackets, its protocol's short label.
QString deviceListText(const Sondrix::DeviceRecord &record);

/// The short label of the record's protocol, or of its provider where it has none; empty without
/// both.
QString protocolDisplayName(const Sondrix::DeviceRecord &record);

/// A filter combo's text as a filter value: trimmed and lower-cased, and empty for the entries that
/// stand for no filter.
QString normalizedFilterValue(const QString &text);
