#include "ui/app_theme.h"

#include <algorithm>
#include <functional>

#include <QApplication>
#include <QComboBox>
#include <QDirIterator>
#include <QFile>
#include <QGroupBox>
#include <QIcon>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QResource>
#include <QScrollBar>
#include <QSpinBox>
#include <QStatusBar>
#include <QStringListModel>
#include <QStyle>
#include <QStyleOption>
#include <QTabBar>
#include <QTabWidget>
#include <QTextEdit>
#include <QToolTip>
#include <QtTest>

using WidgetFactory = std::function<QWidget *(QWidget *)>;

Q_DECLARE_METATYPE(WidgetFactory)

namespace
{

QStringList messages; // what the toolkit logged while the theme was applied

void collectMessage(QtMsgType, const QMessageLogContext &, const QString &text)
{
    messages.append(text);
}

using Declarations = QMap<QString, QString>;

/// The rules of a style sheet without at-rules: for each selector the values that its last
/// declarations give. A border's shorthand stands as its width, style and colour.
class StyleSheet
{
public:
    explicit StyleSheet(QString text)
    {
        text.remove(QRegularExpression(QStringLiteral("/\\*.*?\\*/"),
                                       QRegularExpression::DotMatchesEverythingOption));
        for (const QString &rule : text.split(QLatin1Char('}'))) {
            const int brace = rule.indexOf(QLatin1Char('{'));
            if (brace < 0) {
                continue;
            }
            for (const QString &selector : rule.left(brace).split(QLatin1Char(','))) {
                for (const QString &declaration :
                     rule.mid(brace + 1).split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
                    declare(m_rules[selector.simplified()], declaration.section(QLatin1Char(':'), 0, 0),
                            declaration.section(QLatin1Char(':'), 1));
                }
            }
        }
    }

    QStringList selectors() const { return m_rules.keys(); }

    QString value(const QString &selector, const QString &property) const
    {
        return m_rules.value(selector).value(property);
    }

    /// The colours that the rules of the selector name.
    QSet<QString> colors(const QString &selector) const
    {
        static const QRegularExpression color(QStringLiteral("#[0-9a-f]{6}"));
        QSet<QString> found;
        for (const QString &value : m_rules.value(selector)) {
            const QRegularExpressionMatch match = color.match(value);
            if (match.hasMatch()) {
                found.insert(match.captured());
            }
        }
        return found;
    }

private:
    static void declare(Declarations &declarations, const QString &property, const QString &value)
    {
        static const QRegularExpression border(QStringLiteral("^border(-(left|right|top|bottom))?$"));
        const QString name = property.simplified();
        const QString text = value.simplified();
        if (name.isEmpty()) {
            return;
        }
        if (!border.match(name).hasMatch()) {
            declarations[name] = text;
            return;
        }
        declarations[name + QStringLiteral("-width")] = text.section(QLatin1Char(' '), 0, 0);
        declarations[name + QStringLiteral("-style")] = text.section(QLatin1Char(' '), 1, 1);
        declarations[name + QStringLiteral("-color")] = text.section(QLatin1Char(' '), 2);
    }

    QMap<QString, Declarations> m_rules;
};

StyleSheet themeSheet()
{
    QFile file(QStringLiteral(":/sondrix/DarkBlue.qss"));
    return StyleSheet(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString());
}

QImage imageOf(QWidget &widget)
{
    return widget.grab().toImage();
}

QString colorAt(const QImage &image, int x, int y)
{
    return image.valid(x, y) ? image.pixelColor(x, y).name() : QStringLiteral("outside");
}

QString colorAt(const QImage &image, const QPoint &point)
{
    return colorAt(image, point.x(), point.y());
}

bool hasColor(const QImage &image, const QString &color, const QRect &within)
{
    const QRect area = within.intersected(image.rect());
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (colorAt(image, x, y) == color) {
                return true;
            }
        }
    }
    return false;
}

/// So large that a letter's stem has pixels without antialiasing.
QFont largeFont()
{
    QFont font;
    font.setPointSize(30);
    font.setWeight(QFont::Black);
    return font;
}

template<typename Widget>
WidgetFactory factory()
{
    return [](QWidget *parent) { return new Widget(parent); };
}

} // namespace

class AppThemeTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void setsTheIconAndTheSheet();
    void holdsTenFiles();
    void holdsPngImages_data();
    void holdsPngImages();
    void storesTheSheetWithZlib();
    void declares_data();
    void declares();
    void hasNoRuleForIdle();
    void stylesOtherWidgetsInTheSamePalette_data();
    void stylesOtherWidgetsInTheSamePalette();

    void paintsFieldsAndButtons_data();
    void paintsFieldsAndButtons();
    void paintsAPressedButton();
    void paintsDisabledText();
    void paintsTheComboArrowAsATriangle();
    void paintsLists();
    void paintsSelectedText();
    void paintsTheCurrentRow();
    void paintsMenus();
    void paintsADisabledMenuEntryUnderThePointer();
    void paintsTabs();
    void paintsGroupBoxes();
    void paintsScrollBars_data();
    void paintsScrollBars();
    void paintsStatusBars();
    void paintsToolTips();
    void paintsTheIndicator_data();
    void paintsTheIndicator();
    void paintsAnIndicatorStateOnlyOncePolished();
};

void AppThemeTest::initTestCase()
{
    QVERIFY(qApp->styleSheet().isEmpty());
    QVERIFY(QApplication::windowIcon().isNull());
    const QtMessageHandler previous = qInstallMessageHandler(collectMessage);
    applyAppTheme();
    qInstallMessageHandler(previous);
    // A rule that cannot be parsed costs the whole sheet and is logged.
    QCOMPARE(messages, QStringList());
}

void AppThemeTest::setsTheIconAndTheSheet()
{
    QFile sheet(QStringLiteral(":/sondrix/DarkBlue.qss"));
    QVERIFY(sheet.open(QIODevice::ReadOnly));
    QCOMPARE(qApp->styleSheet(), QString::fromUtf8(sheet.readAll()));
    QCOMPARE(QApplication::windowIcon().availableSizes(), QList<QSize>{QSize(1024, 1024)});
}

void AppThemeTest::holdsTenFiles()
{
    QStringList files;
    for (const QString &folder : {QStringLiteral(":/sondrix"), QStringLiteral(":/adbackgrounds")}) {
        QDirIterator entries(folder, QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            files.append(entries.next());
        }
    }
    files.sort();
    QCOMPARE(files, QStringList({
                        QStringLiteral(":/adbackgrounds/adbackground_corvanescope.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_fluxorin.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_kodrane.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_pathveil.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_scopelune.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_streamlark.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_testcardia.png"),
                        QStringLiteral(":/adbackgrounds/adbackground_vidruna.png"),
                        QStringLiteral(":/sondrix/DarkBlue.qss"),
                        QStringLiteral(":/sondrix/sondrix_icon_512x512.png"),
                    }));
}

void AppThemeTest::holdsPngImages_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSize>("size");

    // The icon's name tells another size than it has.
    QTest::newRow("icon") << QStringLiteral(":/sondrix/sondrix_icon_512x512.png") << QSize(1024, 1024);
    for (const char *name : {"streamlark", "kodrane", "pathveil", "fluxorin", "vidruna", "corvanescope",
                             "scopelune", "testcardia"}) {
        QTest::newRow(name)
            << QStringLiteral(":/adbackgrounds/adbackground_%1.png").arg(QString::fromLatin1(name))
            << QSize(1920, 105);
    }
}

void AppThemeTest::holdsPngImages()
{
    QFETCH(QString, path);
    QImageReader reader(path);
    reader.setAutoDetectImageFormat(true);
    reader.setDecideFormatFromContent(true);
    QCOMPARE(reader.format(), QByteArray("png"));
    const QImage image = reader.read();
    QTEST(image.size(), "size");
}

void AppThemeTest::storesTheSheetWithZlib()
{
    const QResource sheet(QStringLiteral(":/sondrix/DarkBlue.qss"));
    QVERIFY(sheet.isValid());
    QCOMPARE(sheet.compressionAlgorithm(), QResource::ZlibCompression);
    QVERIFY(sheet.size() < sheet.uncompressedSize());
}

void AppThemeTest::declares_data()
{
    QTest::addColumn<QString>("selector");
    QTest::addColumn<QString>("property");
    QTest::addColumn<QString>("expected");

    struct Row {
        QByteArray selector;
        QByteArray property;
        QByteArray expected;
    };
    const auto add = [](const Row &row) {
        QTest::addRow("%s %s", row.selector.constData(), row.property.constData())
            << QString::fromLatin1(row.selector) << QString::fromLatin1(row.property)
            << QString::fromLatin1(row.expected);
    };
    const auto addBorder = [&](const QByteArray &selector, const QByteArray &property, const char *color) {
        add({selector, property + "-width", "1px"});
        add({selector, property + "-style", "solid"});
        add({selector, property + "-color", color});
    };

    for (const Row &row : {
             Row{"QWidget", "background-color", "#1f232a"},
             Row{"QWidget", "color", "#e6e9ef"},
             Row{"QWidget", "selection-background-color", "#2f6feb"},
             Row{"QWidget", "selection-color", "#ffffff"},
             Row{"QWidget:disabled", "color", "#8b949e"},
         }) {
        add(row);
    }
    for (const QByteArray field :
         {"QLineEdit", "QTextEdit", "QPlainTextEdit", "QAbstractSpinBox", "QComboBox"}) {
        addBorder(field, "border", "#30363d");
        for (const Row &row : {
                 Row{field, "background-color", "#161b22"},
                 Row{field, "color", "#e6e9ef"},
                 Row{field, "border-radius", "4px"},
                 Row{field, "padding", "4px 6px"},
                 Row{field + ":hover", "border-color", "#3b82f6"},
                 Row{field + ":focus", "border-color", "#3b82f6"},
                 Row{field + ":disabled", "background-color", "#22272e"},
                 Row{field + ":disabled", "border-color", "#2d333b"},
                 Row{field + ":disabled", "color", "#8b949e"},
             }) {
            add(row);
        }
    }
    for (const Row &row : {
             Row{"QComboBox", "padding-right", "20px"},
             Row{"QComboBox::drop-down", "width", "16px"},
             Row{"QComboBox::drop-down", "subcontrol-position", "top right"},
             Row{"QComboBox::drop-down", "background-color", "#22272e"},
             Row{"QComboBox::drop-down", "border-left-color", "#30363d"},
             Row{"QComboBox::down-arrow", "border-left-width", "4px"},
             Row{"QComboBox::down-arrow", "border-right-width", "4px"},
             Row{"QComboBox::down-arrow", "border-top-width", "6px"},
             Row{"QComboBox::down-arrow", "border-top-color", "#c9d1d9"},
         }) {
        add(row);
    }

    addBorder("QPushButton", "border", "#3d444d");
    for (const Row &row : {
             Row{"QPushButton", "background-color", "#2d333b"},
             Row{"QPushButton", "border-radius", "5px"},
             Row{"QPushButton", "padding", "5px 10px"},
             Row{"QPushButton:hover", "background-color", "#353c45"},
             Row{"QPushButton:hover", "border-color", "#4b5560"},
             Row{"QPushButton:pressed", "background-color", "#2a3038"},
             Row{"QPushButton:focus", "border-color", "#3b82f6"},
             Row{"QPushButton:disabled", "background-color", "#252b33"},
             Row{"QPushButton:disabled", "color", "#8b949e"},
             Row{"QPushButton:disabled", "border-color", "#2f363d"},
         }) {
        add(row);
    }

    addBorder("QMenu", "border", "#30363d");
    for (const Row &row : {
             Row{"QMenu", "background-color", "#22272e"},
             Row{"QMenu", "padding", "4px"},
             Row{"QMenu::item", "padding", "6px 16px"},
             Row{"QMenu::item", "border-radius", "4px"},
             Row{"QMenu::item:selected", "background-color", "#2f6feb"},
             Row{"QMenu::item:selected", "color", "#ffffff"},
             Row{"QMenu::separator", "height", "1px"},
             Row{"QMenu::separator", "background-color", "#30363d"},
             Row{"QMenu::separator", "margin", "5px 6px"},
         }) {
        add(row);
    }

    for (const QByteArray view : {"QListView", "QTableView", "QTreeView"}) {
        addBorder(view, "border", "#30363d");
        for (const Row &row : {
                 Row{view, "background-color", "#161b22"},
                 Row{view, "gridline-color", "#2d333b"},
                 Row{view, "alternate-background-color", "#1b2129"},
                 Row{view + "::item", "padding", "3px"},
                 Row{view + "::item:selected", "background-color", "#2f6feb"},
                 Row{view + "::item:selected", "color", "#ffffff"},
             }) {
            add(row);
        }
    }

    addBorder("QTabWidget::pane", "border", "#30363d");
    addBorder("QTabBar::tab", "border", "#30363d");
    for (const Row &row : {
             Row{"QTabWidget::pane", "top", "-1px"},
             Row{"QTabBar::tab", "background-color", "#252b33"},
             Row{"QTabBar::tab", "color", "#c9d1d9"},
             Row{"QTabBar::tab", "padding", "6px 10px"},
             Row{"QTabBar::tab", "margin-right", "2px"},
             Row{"QTabBar::tab:selected", "background-color", "#2f6feb"},
             Row{"QTabBar::tab:selected", "color", "#ffffff"},
             Row{"QTabBar::tab:hover:!selected", "background-color", "#2d333b"},
         }) {
        add(row);
    }

    addBorder("QGroupBox", "border", "#30363d");
    for (const Row &row : {
             Row{"QGroupBox", "border-radius", "6px"},
             Row{"QGroupBox", "margin-top", "10px"},
             Row{"QGroupBox", "padding-top", "10px"},
             Row{"QGroupBox::title", "subcontrol-origin", "margin"},
             Row{"QGroupBox::title", "left", "10px"},
             Row{"QGroupBox::title", "padding", "0px 6px"},
             Row{"QGroupBox::title", "color", "#c9d1d9"},
         }) {
        add(row);
    }

    for (const Row &row : {
             Row{"QScrollBar:vertical", "width", "12px"},
             Row{"QScrollBar:vertical", "background-color", "#1f232a"},
             Row{"QScrollBar:horizontal", "height", "12px"},
             Row{"QScrollBar:horizontal", "background-color", "#1f232a"},
             Row{"QScrollBar::handle", "background-color", "#3d444d"},
             Row{"QScrollBar::handle", "border-radius", "5px"},
             Row{"QScrollBar::handle:vertical", "min-height", "24px"},
             Row{"QScrollBar::handle:horizontal", "min-width", "24px"},
             Row{"QScrollBar::handle:hover", "background-color", "#4a5360"},
             Row{"QScrollBar::add-line", "width", "0px"},
             Row{"QScrollBar::add-line", "height", "0px"},
             Row{"QScrollBar::sub-line", "width", "0px"},
             Row{"QScrollBar::sub-line", "height", "0px"},
             Row{"QScrollBar::add-page", "background", "none"},
             Row{"QScrollBar::sub-page", "background", "none"},
         }) {
        add(row);
    }

    addBorder("QStatusBar", "border-top", "#30363d");
    add({"QStatusBar", "background-color", "#22272e"});
    addBorder("QToolTip", "border", "#3b82f6");
    add({"QToolTip", "background-color", "#11161d"});
    add({"QToolTip", "color", "#e6e9ef"});
    add({"QToolTip", "padding", "4px 6px"});

    addBorder("QLabel#activityIndicator", "border", "#3d444d");
    for (const Row &row : {
             Row{"QLabel#activityIndicator", "background-color", "#252b33"},
             Row{"QLabel#activityIndicator", "color", "#c9d1d9"},
             Row{"QLabel#activityIndicator", "border-radius", "4px"},
             Row{"QLabel#activityIndicator", "padding", "3px 8px"},
             Row{"QLabel#activityIndicator[activityState=\"active\"]", "background-color", "#1e3a5f"},
             Row{"QLabel#activityIndicator[activityState=\"active\"]", "color", "#ffffff"},
             Row{"QLabel#activityIndicator[activityState=\"active\"]", "border-color", "#3b82f6"},
             Row{"QLabel#activityIndicator[activityState=\"adding\"]", "background-color", "#1f3d2b"},
             Row{"QLabel#activityIndicator[activityState=\"adding\"]", "color", "#ffffff"},
             Row{"QLabel#activityIndicator[activityState=\"adding\"]", "border-color", "#2f9e44"},
         }) {
        add(row);
    }
}

void AppThemeTest::declares()
{
    QFETCH(QString, selector);
    QFETCH(QString, property);
    QTEST(themeSheet().value(selector, property), "expected");
}

void AppThemeTest::hasNoRuleForIdle()
{
    const QStringList selectors = themeSheet().selectors();
    QVERIFY(!selectors.isEmpty());
    QCOMPARE(selectors.filter(QStringLiteral("idle"), Qt::CaseInsensitive), QStringList());
}

void AppThemeTest::stylesOtherWidgetsInTheSamePalette_data()
{
    QTest::addColumn<QString>("widget");

    for (const char *widget : {"QToolButton", "QCheckBox", "QRadioButton", "QMenuBar", "QToolBar",
                               "QHeaderView", "QSlider", "QProgressBar"}) {
        QTest::newRow(widget) << QString::fromLatin1(widget);
    }
}

void AppThemeTest::stylesOtherWidgetsInTheSamePalette()
{
    QFETCH(QString, widget);
    const StyleSheet sheet = themeSheet();
    const QStringList selectors = sheet.selectors();
    QSet<QString> palette;
    QSet<QString> used;
    for (const QString &selector : selectors) {
        const bool isUsedByTheWindow = !selector.contains(
            QRegularExpression(QStringLiteral("^Q(ToolButton|CheckBox|RadioButton|MenuBar|"
                                              "ToolBar|HeaderView|Slider|ProgressBar)\\b")));
        if (isUsedByTheWindow) {
            palette.unite(sheet.colors(selector));
        } else if (selector.startsWith(widget)) {
            used.unite(sheet.colors(selector));
        }
    }
    QVERIFY(!used.isEmpty());
    QCOMPARE(used - palette, QSet<QString>());
}

void AppThemeTest::paintsFieldsAndButtons_data()
{
    QTest::addColumn<WidgetFactory>("make");
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("background");
    QTest::addColumn<QString>("border");

    const QString plain = QStringLiteral("plain");
    const QString hover = QStringLiteral("hover");
    const QString focus = QStringLiteral("focus");
    const QString disabled = QStringLiteral("disabled");
    const QList<QPair<const char *, WidgetFactory>> fields{
        {"line edit", factory<QLineEdit>()},
        {"text edit", factory<QTextEdit>()},
        {"plain text edit", factory<QPlainTextEdit>()},
        {"spin box", factory<QSpinBox>()},
        {"combo", factory<QComboBox>()},
    };
    for (const auto &[name, make] : fields) {
        QTest::addRow("%s", name) << make << plain << QStringLiteral("#161b22") << QStringLiteral("#30363d");
        QTest::addRow("%s under the pointer", name)
            << make << hover << QStringLiteral("#161b22") << QStringLiteral("#3b82f6");
        QTest::addRow("%s with focus", name)
            << make << focus << QStringLiteral("#161b22") << QStringLiteral("#3b82f6");
        QTest::addRow("%s disabled", name)
            << make << disabled << QStringLiteral("#22272e") << QStringLiteral("#2d333b");
    }
    const WidgetFactory button = factory<QPushButton>();
    QTest::newRow("button") << button << plain << QStringLiteral("#2d333b") << QStringLiteral("#3d444d");
    QTest::newRow("button under the pointer")
        << button << hover << QStringLiteral("#353c45") << QStringLiteral("#4b5560");
    QTest::newRow("button with focus")
        << button << focus << QStringLiteral("#2d333b") << QStringLiteral("#3b82f6");
    QTest::newRow("button disabled") << button << disabled << QStringLiteral("#252b33")
                                     << QStringLiteral("#2f363d");
}

void AppThemeTest::paintsFieldsAndButtons()
{
    QFETCH(WidgetFactory, make);
    QFETCH(QString, state);
    QWidget window;
    window.setFocusPolicy(Qt::StrongFocus);
    QWidget *widget = make(&window);
    widget->setGeometry(10, 10, 120, 40);
    window.resize(140, 60);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    if (state == QLatin1String("focus")) {
        widget->setFocus();
        QVERIFY(widget->hasFocus());
    } else {
        window.setFocus();
        QVERIFY(window.hasFocus());
    }
    widget->setEnabled(state != QLatin1String("disabled"));
    QTest::mouseMove(state == QLatin1String("hover") ? widget : &window, QPoint(5, 5));
    QTRY_COMPARE(widget->underMouse(), state == QLatin1String("hover"));

    const QImage image = imageOf(*widget);
    QTEST(colorAt(image, 4, 20), "background");
    QTEST(colorAt(image, 0, 20), "border");
    QCOMPARE(colorAt(imageOf(window), 3, 3), QStringLiteral("#1f232a"));
}

/// A press comes with the pointer over the button and gives it the focus.
void AppThemeTest::paintsAPressedButton()
{
    QWidget window;
    QPushButton button(&window);
    button.setGeometry(10, 10, 120, 40);
    window.resize(140, 60);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    button.setFocus();
    button.setAttribute(Qt::WA_UnderMouse);
    button.setDown(true);
    const QImage image = imageOf(button);
    QCOMPARE(colorAt(image, 4, 20), QStringLiteral("#2a3038"));
    QCOMPARE(colorAt(image, 0, 20), QStringLiteral("#3b82f6"));
}

void AppThemeTest::paintsDisabledText()
{
    QLabel label(QStringLiteral("HHH"));
    label.setFont(largeFont());
    label.adjustSize();
    QVERIFY(hasColor(imageOf(label), QStringLiteral("#e6e9ef"), label.rect()));
    label.setEnabled(false);
    QVERIFY(hasColor(imageOf(label), QStringLiteral("#8b949e"), label.rect()));
    QVERIFY(!hasColor(imageOf(label), QStringLiteral("#e6e9ef"), label.rect()));
}

void AppThemeTest::paintsTheComboArrowAsATriangle()
{
    QComboBox combo;
    combo.resize(120, 34);
    const QImage image = imageOf(combo);
    // The drop-down is 16 pixels wide, beside its own left border and the combo's right one.
    QCOMPARE(colorAt(image, 120 - 1 - 17, 16), QStringLiteral("#30363d"));
    QCOMPARE(colorAt(image, 120 - 1 - 16, 16), QStringLiteral("#22272e"));
    // The widths of the arrow's rows, with the pixels that its slanted sides cross.
    QList<int> widths;
    for (int y = 4; y < 30; ++y) {
        int width = 0;
        for (int x = 120 - 1 - 16; x < 119; ++x) {
            width += colorAt(image, x, y) != QLatin1String("#22272e") ? 1 : 0;
        }
        if (width > 0) {
            widths.append(width);
        }
    }
    QCOMPARE(widths.size(), 6);
    QCOMPARE(widths.first(), 8);
    QVERIFY(widths.last() <= 2);
    QVERIFY(std::is_sorted(widths.crbegin(), widths.crend()));
    QVERIFY(hasColor(image, QStringLiteral("#c9d1d9"), combo.rect()));
}

void AppThemeTest::paintsLists()
{
    QStringListModel model(
        {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d")});
    QListView list;
    list.setModel(&model);
    list.setAlternatingRowColors(true);
    list.resize(200, 200);
    list.selectionModel()->select(model.index(2), QItemSelectionModel::Select);
    QCOMPARE(colorAt(imageOf(list), 0, 100), QStringLiteral("#30363d"));
    const QImage image = imageOf(*list.viewport());
    const auto rowColor = [&](int row) {
        return colorAt(image, 150, list.visualRect(model.index(row)).center().y());
    };
    QCOMPARE(rowColor(0), QStringLiteral("#161b22"));
    QCOMPARE(rowColor(1), QStringLiteral("#1b2129"));
    QCOMPARE(rowColor(2), QStringLiteral("#2f6feb"));
    QCOMPARE(rowColor(3), QStringLiteral("#1b2129"));
    QCOMPARE(colorAt(image, 150, list.viewport()->height() - 3), QStringLiteral("#161b22"));
}

void AppThemeTest::paintsSelectedText()
{
    QStringListModel model(QStringList(QStringLiteral("HHH")));
    QListView list;
    list.setFont(largeFont());
    list.setModel(&model);
    list.resize(200, 100);
    const QRect row = list.visualRect(model.index(0));
    QVERIFY(hasColor(imageOf(*list.viewport()), QStringLiteral("#e6e9ef"), row));
    list.selectionModel()->select(model.index(0), QItemSelectionModel::Select);
    QVERIFY(hasColor(imageOf(*list.viewport()), QStringLiteral("#ffffff"), row));

    QLineEdit edit(QStringLiteral("HHH"));
    edit.setFont(largeFont());
    edit.resize(200, 60);
    edit.selectAll();
    const QImage image = imageOf(edit);
    QVERIFY(hasColor(image, QStringLiteral("#2f6feb"), edit.rect()));
    QVERIFY(hasColor(image, QStringLiteral("#ffffff"), edit.rect()));
}

/// The row that has the keyboard looks like any selected one, and its text stays where it was.
void AppThemeTest::paintsTheCurrentRow()
{
    QStringListModel model(QStringList(QStringLiteral("HHH")));
    QListView list;
    list.setFont(largeFont());
    list.setModel(&model);
    list.resize(200, 100);
    list.show();
    QVERIFY(QTest::qWaitForWindowActive(&list));
    const QRect row = list.visualRect(model.index(0));
    const auto leftEdgeOfText = [&](const QString &background) {
        const QImage image = imageOf(*list.viewport());
        int x = row.left();
        while (x < row.right() && colorAt(image, x, row.center().y()) == background) {
            ++x;
        }
        return x;
    };
    const int left = leftEdgeOfText(QStringLiteral("#161b22"));
    QVERIFY(left < row.left() + 20);
    list.setFocus();
    list.setCurrentIndex(model.index(0));
    QVERIFY(list.hasFocus());
    QCOMPARE(colorAt(imageOf(*list.viewport()), 190, row.center().y()), QStringLiteral("#2f6feb"));
    QCOMPARE(leftEdgeOfText(QStringLiteral("#2f6feb")), left);
}

void AppThemeTest::paintsMenus()
{
    QMenu menu;
    QAction *first = menu.addAction(QStringLiteral("Copy"));
    QAction *second = menu.addAction(QStringLiteral("Open"));
    QAction *separator = menu.addSeparator();
    menu.addAction(QStringLiteral("Remove"));
    second->setEnabled(false);
    menu.popup(QPoint(0, 0));
    const auto itemColor = [&](QAction *action) {
        const QRect rect = menu.actionGeometry(action);
        return colorAt(imageOf(menu), rect.left() + 6, rect.center().y());
    };
    menu.setActiveAction(first);
    QCOMPARE(itemColor(first), QStringLiteral("#2f6feb"));
    QCOMPARE(itemColor(second), QStringLiteral("#22272e"));

    const QImage image = imageOf(menu);
    QCOMPARE(colorAt(image, 0, menu.height() / 2), QStringLiteral("#30363d"));
    QCOMPARE(colorAt(image, 2, menu.height() / 2), QStringLiteral("#22272e"));
    const QRect line = menu.actionGeometry(separator);
    QVERIFY(hasColor(image, QStringLiteral("#30363d"), line.adjusted(7, 0, -7, 0)));
    QVERIFY(!hasColor(image, QStringLiteral("#30363d"), line.adjusted(0, 0, -(line.width() - 5), 0)));
    menu.close();
}

/// Some styles let a disabled entry be the current one; it must not look as if it could be chosen.
void AppThemeTest::paintsADisabledMenuEntryUnderThePointer()
{
    QMenu menu;
    menu.ensurePolished();
    QStyleOptionMenuItem option;
    option.initFrom(&menu);
    option.rect = QRect(0, 0, 120, 30);
    const auto backgroundIn = [&](QStyle::State state) {
        option.state = state;
        QImage image(120, 30, QImage::Format_RGB32);
        image.fill(QColor(0x22, 0x27, 0x2e));
        QPainter painter(&image);
        menu.style()->drawControl(QStyle::CE_MenuItem, &option, &painter, &menu);
        return colorAt(image, 8, 15);
    };
    QCOMPARE(backgroundIn(QStyle::State_Enabled | QStyle::State_Selected), QStringLiteral("#2f6feb"));
    QCOMPARE(backgroundIn(QStyle::State_Selected), QStringLiteral("#22272e"));
}

void AppThemeTest::paintsTabs()
{
    QTabWidget tabs;
    tabs.addTab(new QWidget, QStringLiteral("Details"));
    tabs.addTab(new QWidget, QStringLiteral("Raw JSON"));
    tabs.resize(300, 150);
    tabs.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tabs));
    const auto tabColor = [&](int index) {
        const QRect rect = tabs.tabBar()->tabRect(index);
        return colorAt(imageOf(*tabs.tabBar()), rect.left() + 4, rect.center().y());
    };
    QCOMPARE(tabColor(0), QStringLiteral("#2f6feb"));
    QCOMPARE(tabColor(1), QStringLiteral("#252b33"));
    tabs.setCurrentIndex(1);
    QCOMPARE(tabColor(0), QStringLiteral("#252b33"));
    QCOMPARE(tabColor(1), QStringLiteral("#2f6feb"));
    QCOMPARE(colorAt(imageOf(tabs), 0, 100), QStringLiteral("#30363d"));
}

void AppThemeTest::paintsGroupBoxes()
{
    QGroupBox box(QStringLiteral("HHH"));
    box.resize(300, 150);
    const QImage image = imageOf(box);
    // The border begins under the margin, and the title stands in the margin over it.
    QCOMPARE(colorAt(image, 200, 9), QStringLiteral("#1f232a"));
    QCOMPARE(colorAt(image, 200, 10), QStringLiteral("#30363d"));
    QCOMPARE(colorAt(image, 0, 80), QStringLiteral("#30363d"));
    QCOMPARE(colorAt(image, 12, 10), QStringLiteral("#1f232a"));
    QVERIFY(!hasColor(image, QStringLiteral("#c9d1d9"), QRect(0, 0, 15, 20)));

    box.setFont(largeFont());
    QVERIFY(hasColor(imageOf(box), QStringLiteral("#c9d1d9"), QRect(16, 0, 200, 40)));
}

void AppThemeTest::paintsScrollBars_data()
{
    QTest::addColumn<Qt::Orientation>("orientation");

    QTest::newRow("vertical") << Qt::Vertical;
    QTest::newRow("horizontal") << Qt::Horizontal;
}

void AppThemeTest::paintsScrollBars()
{
    QFETCH(Qt::Orientation, orientation);
    const bool isVertical = orientation == Qt::Vertical;
    QScrollBar bar(orientation);
    bar.setRange(0, 100000);
    bar.setPageStep(1);
    bar.ensurePolished();
    QCOMPARE(isVertical ? bar.sizeHint().width() : bar.sizeHint().height(), 12);
    bar.resize(isVertical ? QSize(12, 200) : QSize(200, 12));
    const auto colorAlong = [&](int distance) {
        return colorAt(imageOf(bar), isVertical ? QPoint(6, distance) : QPoint(distance, 6));
    };
    // The handle has its least length and begins at the very end, where no arrow button stands.
    QCOMPARE(colorAlong(1), QStringLiteral("#3d444d"));
    QCOMPARE(colorAlong(22), QStringLiteral("#3d444d"));
    QCOMPARE(colorAlong(25), QStringLiteral("#1f232a"));
    QCOMPARE(colorAlong(198), QStringLiteral("#1f232a"));
    bar.setValue(bar.maximum());
    QCOMPARE(colorAlong(198), QStringLiteral("#3d444d"));

    bar.setValue(0);
    bar.setAttribute(Qt::WA_UnderMouse);
    QHoverEvent hover(QEvent::HoverEnter, QPointF(6, 6), QPointF(-1, -1));
    QApplication::sendEvent(&bar, &hover);
    QCOMPARE(colorAlong(12), QStringLiteral("#4a5360"));
}

void AppThemeTest::paintsStatusBars()
{
    QStatusBar bar;
    bar.setSizeGripEnabled(false);
    bar.resize(200, 30);
    const QImage image = imageOf(bar);
    QCOMPARE(colorAt(image, 100, 0), QStringLiteral("#30363d"));
    QCOMPARE(colorAt(image, 100, 1), QStringLiteral("#22272e"));
    QCOMPARE(colorAt(image, 100, 29), QStringLiteral("#22272e"));
}

void AppThemeTest::paintsToolTips()
{
    QToolTip::showText(QPoint(10, 10), QStringLiteral("Camera 1"));
    QWidget *tip = nullptr;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window->inherits("QTipLabel")) {
            tip = window;
        }
    }
    QVERIFY(tip != nullptr);
    const QImage image = imageOf(*tip);
    QCOMPARE(colorAt(image, 0, tip->height() / 2), QStringLiteral("#3b82f6"));
    QCOMPARE(colorAt(image, 3, tip->height() / 2), QStringLiteral("#11161d"));
    QToolTip::hideText();
}

void AppThemeTest::paintsTheIndicator_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("background");
    QTest::addColumn<QString>("border");
    QTest::addColumn<QString>("text");

    QTest::newRow("no state") << QString() << QStringLiteral("#252b33") << QStringLiteral("#3d444d")
                              << QStringLiteral("#c9d1d9");
    QTest::newRow("idle") << QStringLiteral("idle") << QStringLiteral("#252b33") << QStringLiteral("#3d444d")
                          << QStringLiteral("#c9d1d9");
    QTest::newRow("active") << QStringLiteral("active") << QStringLiteral("#1e3a5f")
                            << QStringLiteral("#3b82f6") << QStringLiteral("#ffffff");
    QTest::newRow("adding") << QStringLiteral("adding") << QStringLiteral("#1f3d2b")
                            << QStringLiteral("#2f9e44") << QStringLiteral("#ffffff");
    QTest::newRow("unknown") << QStringLiteral("Active") << QStringLiteral("#252b33")
                             << QStringLiteral("#3d444d") << QStringLiteral("#c9d1d9");
}

void AppThemeTest::paintsTheIndicator()
{
    QFETCH(QString, state);
    QFETCH(QString, text);
    QLabel label(QStringLiteral("HHH"));
    label.setObjectName(QStringLiteral("activityIndicator"));
    label.setFont(largeFont());
    label.adjustSize();
    if (!state.isNull()) {
        label.setProperty("activityState", state);
    }
    label.style()->unpolish(&label);
    label.style()->polish(&label);
    const QImage image = imageOf(label);
    QTEST(colorAt(image, 4, label.height() / 2), "background");
    QTEST(colorAt(image, 0, label.height() / 2), "border");
    QVERIFY(hasColor(image, text, label.rect()));
}

void AppThemeTest::paintsAnIndicatorStateOnlyOncePolished()
{
    QLabel label(QStringLiteral("Ready"));
    label.setObjectName(QStringLiteral("activityIndicator"));
    label.resize(150, 30);
    const auto background = [&] { return colorAt(imageOf(label), 4, 15); };
    QCOMPARE(background(), QStringLiteral("#252b33"));
    label.setProperty("activityState", QStringLiteral("active"));
    label.update();
    QCOMPARE(background(), QStringLiteral("#252b33"));
    label.style()->unpolish(&label);
    label.style()->polish(&label);
    QCOMPARE(background(), QStringLiteral("#1e3a5f"));
    label.setProperty("activityState", QStringLiteral("idle"));
    label.style()->unpolish(&label);
    label.style()->polish(&label);
    QCOMPARE(background(), QStringLiteral("#252b33"));
}

QTEST_MAIN(AppThemeTest)
#include "app_theme_test.moc"
