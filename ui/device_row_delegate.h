#pragma once

#include <QCache>
#include <QFont>
#include <QSize>
#include <QString>
#include <QStyledItemDelegate>

/// A row of a device list, drawn as any list draws it. It remembers how large a text is, because
/// the list asks for the size of every row whenever a device comes or changes. Because texts come
/// from the network, it shows no more of one than a row has room for, and tool tips as plain text.
class DeviceRowDelegate : public QStyledItemDelegate
{
public:
    explicit DeviceRowDelegate(QObject *parent = nullptr);

    QString displayText(const QVariant &value, const QLocale &locale) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

private:
    mutable QCache<QString, QSize> m_sizes; // of texts in m_font
    mutable QFont m_font;
};
