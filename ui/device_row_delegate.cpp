#include "ui/device_row_delegate.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QTextDocument>
#include <QToolTip>

namespace
{

constexpr int maximumSizes = 50000; // more rows than a network has, so that only old texts go

// Qt takes minutes to lay out a name of some 50,000 accents, and nobody reads so long a one.
constexpr int maximumRowCharacters = 256;
constexpr int maximumToolTipCharacters = 1024;

QString shortened(const QString &text, int maximumCharacters)
{
    if (text.size() <= maximumCharacters) {
        return text;
    }
    const bool splitsAPair = text.at(maximumCharacters - 1).isHighSurrogate();
    return text.left(maximumCharacters - (splitsAPair ? 1 : 0)) + QChar(0x2026); // an ellipsis
}

} // namespace

DeviceRowDelegate::DeviceRowDelegate(QObject *parent) : QStyledItemDelegate(parent), m_sizes(maximumSizes) {}

QString DeviceRowDelegate::displayText(const QVariant &value, const QLocale &locale) const
{
    return QStyledItemDelegate::displayText(shortened(value.toString(), maximumRowCharacters), locale);
}

QSize DeviceRowDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (m_font != option.font) {
        m_sizes.clear();
        m_font = option.font;
    }
    const QString text = shortened(index.data().toString(), maximumRowCharacters);
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
    const QString text = shortened(index.data(Qt::ToolTipRole).toString(), maximumToolTipCharacters);
    QToolTip::showText(event->globalPos(), Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text,
                       view, view->visualRect(index));
    event->setAccepted(!text.isEmpty());
    return true;
}
