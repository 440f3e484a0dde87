#pragma once

#include <QCache>
#include <QFont>
#include <QSize>
#include <QString>
#include <QStyledItemDelegate>

/// A row of a device list, drawn as any list draws it. It remembers how large a text is, because
/// the list asks for the size of every row whenever a device comes or changes, and shows its tool
/// tip as plain text, because that comes from the network.
class DeviceRowDelegate : public QStyledItemDelegate
{
public:
    explicit DeviceRowDelegate(QObject *parent = nullptr);

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

private:
    mutable QCache<QString, QSize> m_sizes; // of texts in m_font
    mutable QFont m_font;
};
