#include <QApplication>
#include <QGenericPlugin>
#include <QLabel>
#include <QLocalSocket>
#include <QWidget>

// A plugin that Qt loads into the program, so that a test can ask it for its window and close that
// as a user does.

namespace
{

/// Answers each line from the test with one line.
class WindowRemote : public QObject
{
public:
    explicit WindowRemote(const QString &serverName)
    {
        connect(&m_socket, &QLocalSocket::readyRead, this, [this] {
            while (m_socket.canReadLine()) {
                m_socket.write(answer(m_socket.readLine().trimmed()) + '\n');
            }
        });
        m_socket.connectToServer(serverName);
    }

private:
    static QByteArray answer(const QByteArray &question)
    {
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (QWidget *window : windows) {
            const auto *indicator = window->findChild<QLabel *>(QStringLiteral("activityIndicator"));
            if (!window->isVisible() || indicator == nullptr) {
                continue;
            }
            if (question == "title") {
                return window->windowTitle().toUtf8();
            }
            if (question == "activity") {
                return indicator->text().toUtf8();
            }
            if (question == "close") {
                return window->close() ? "closed" : "refused";
            }
        }
        return "no window";
    }

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
