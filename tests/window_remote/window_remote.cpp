#include <QApplication>
#include <QGenericPlugin>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QLocalSocket>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTextEdit>
#include <QWidget>

// A plugin that Qt loads into the program, so that a test outside can ask it what its window shows,
// and where, and can close it as a user does. Each question is a line, and so is each answer:
//
//   state                  the texts of the window, as JSON
//   where row LIST NUMBER  the middle of a list's row on the screen, in its pixels: "X Y"
//   where tab TITLE        the same of an inspector's tab,
//   where entry TEXT       of an entry of the open menu,
//   where button TEXT      of a button
//   where search           and of the search box
//   close                  closes the window

namespace
{

QWidget *mainWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window->isVisible() &&
            window->findChild<QLabel *>(QStringLiteral("activityIndicator")) != nullptr) {
            return window;
        }
    }
    return nullptr;
}

template<typename Widget>
Widget *childWith(const QWidget &window, const QString &name, QString (Widget::*text)() const)
{
    const QList<Widget *> children = window.findChildren<Widget *>();
    for (Widget *child : children) {
        if ((child->*text)() == name) {
            return child;
        }
    }
    return nullptr;
}

QListView *list(const QWidget &window, const QString &name)
{
    return childWith<QListView>(window, name, &QListView::accessibleName);
}

QMenu *openMenu()
{
    return qobject_cast<QMenu *>(QApplication::activePopupWidget());
}

QJsonArray rows(const QListView &view)
{
    QJsonArray texts;
    for (int row = 0; row < view.model()->rowCount(); ++row) {
        texts.append(view.model()->index(row, 0).data().toString());
    }
    return texts;
}

QJsonArray menuEntries()
{
    QJsonArray entries;
    if (const QMenu *menu = openMenu()) {
        const QList<QAction *> actions = menu->actions();
        for (const QAction *action : actions) {
            entries.append(QJsonObject{{QStringLiteral("text"), action->text()},
                                       {QStringLiteral("enabled"), action->isEnabled()}});
        }
    }
    return entries;
}

/// The line of counts, known by its bars.
QString summary(const QWidget &window)
{
    const QList<QLabel *> labels = window.findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        if (label->text().contains(QStringLiteral(" | "))) {
            return label->text();
        }
    }
    return QString();
}

QByteArray state(const QWidget &window)
{
    const auto *indicator = window.findChild<QLabel *>(QStringLiteral("activityIndicator"));
    const QJsonObject state{
        {QStringLiteral("title"), window.windowTitle()},
        {QStringLiteral("activity"), indicator->text()},
        {QStringLiteral("activityState"), indicator->property("activityState").toString()},
        {QStringLiteral("summary"), summary(window)},
        {QStringLiteral("inputs"), rows(*list(window, QStringLiteral("Inputs")))},
        {QStringLiteral("outputs"), rows(*list(window, QStringLiteral("Outputs")))},
        {QStringLiteral("details"), window.findChild<QTextEdit *>()->toPlainText()},
        {QStringLiteral("rawJson"), window.findChild<QPlainTextEdit *>()->toPlainText()},
        {QStringLiteral("menu"), menuEntries()},
    };
    return QJsonDocument(state).toJson(QJsonDocument::Compact);
}

QByteArray onScreen(const QWidget *widget, const QRect &area)
{
    if (widget == nullptr || !area.isValid()) {
        return "nowhere";
    }
    const QPoint point = widget->mapToGlobal(area.center()) * widget->devicePixelRatioF();
    return QByteArray::number(point.x()) + ' ' + QByteArray::number(point.y());
}

QByteArray where(const QWidget &window, const QString &kind, const QString &name)
{
    if (kind == QStringLiteral("row")) {
        const QListView *view = list(window, name.section(QLatin1Char(' '), 0, 0));
        if (view == nullptr) {
            return "nowhere";
        }
        const QModelIndex index = view->model()->index(name.section(QLatin1Char(' '), 1).toInt(), 0);
        return onScreen(view->viewport(), view->visualRect(index));
    }
    if (kind == QStringLiteral("tab")) {
        const auto *tabs = window.findChild<QTabBar *>();
        for (int tab = 0; tab < tabs->count(); ++tab) {
            if (tabs->tabText(tab) == name) {
                return onScreen(tabs, tabs->tabRect(tab));
            }
        }
    }
    if (kind == QStringLiteral("entry") && openMenu() != nullptr) {
        const QList<QAction *> actions = openMenu()->actions();
        for (QAction *action : actions) {
            if (action->text() == name) {
                return onScreen(openMenu(), openMenu()->actionGeometry(action));
            }
        }
    }
    const QWidget *widget = nullptr;
    if (kind == QStringLiteral("button")) {
        widget = childWith<QPushButton>(window, name, &QPushButton::text);
    } else if (kind == QStringLiteral("search")) {
        widget = window.findChild<QLineEdit *>();
    }
    return widget == nullptr ? "nowhere" : onScreen(widget, widget->rect());
}

QByteArray answer(const QString &question)
{
    QWidget *window = mainWindow();
    if (window == nullptr) {
        return "no window";
    }
    if (question == QStringLiteral("state")) {
        return state(*window);
    }
    if (question == QStringLiteral("close")) {
        return window->close() ? "closed" : "refused";
    }
    return where(*window, question.section(QLatin1Char(' '), 1, 1), question.section(QLatin1Char(' '), 2));
}

/// Answers each line from the test with one line.
class WindowRemote : public QObject
{
public:
    explicit WindowRemote(const QString &serverName)
    {
        connect(&m_socket, &QLocalSocket::readyRead, this, [this] {
            while (m_socket.canReadLine()) {
                m_socket.write(answer(QString::fromUtf8(m_socket.readLine()).trimmed()) + '\n');
            }
        });
        m_socket.connectToServer(serverName);
    }

private:
    QLocalSocket m_socket;
};

} // namespace

class WindowRemotePlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "window_remote.json")

public:
    QObject *create(const QString &, const QString &serverName) override
    {
        return new WindowRemote(serverName);
    }
};

#include "window_remote.moc"
