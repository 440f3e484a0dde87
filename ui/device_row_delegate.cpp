#include "ui/device_row_delegate.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QTextDocument>
#include <QToolTip>

namespace
{

constexpr int maximumSizes = 50000; // more rows than a network has, so that only old texts go

} // namespace

DeviceRowDelegate::DeviceRowDelegate(QObject *parent) : QStyledItemDelegate(parent), m_sizes(maximumSizes) {}

QSize DeviceRowDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (m_font != option.font) {
        m_sizes.clear();
        m_font = option.font;
    }
    const QString text = index.data().toString();
    if (const QSize *known = m_sizes.object(text)) {
        return *known;
    }
    const QSize size = QStyledItemDelegate::sizeHint(option, index);
    m_sizes.insert(text, new QSize(size));
    return size;
}

bool DeviceRowDelegate::helpEvent(QHelpEvent *event, QAbstractItemView *view,
                                  const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (event == nullptr || view == nullptr || event->type() != QEvent::ToolTip || !index.isValid()) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    // A text with tags would be taken for HTML, and the files that it names would be opened.
    const QString text = index.data(Qt::ToolTipRole).toString();
    QToolTip::showText(event->globalPos(), Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text,
                       view, view->visualRect(index));
    event->setAccepted(!text.isEmpty());
    return true;
}
