#include "ui/product_ad_rotator.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>

#include <QDesktopServices>
#include <QImage>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPaintEngine>
#include <QPainterPath>
#include <QPixmap>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

using Action = std::function<void()>;

Q_DECLARE_METATYPE(Action)

namespace
{

constexpr int slideCount = 8;
constexpr int rotationMs = 9000;
constexpr int pauseMs = 60000;

enum Button { BackButton = 0, PauseButton = 1, ForwardButton = 2 };

/// What one call of the painter drew, and with what.
struct Operation {
    enum Kind { Picture, Rectangle, Path, Polygon, Text, Underline };
    Kind kind;
    QRectF bounds;     ///< of a text its starting point on the base line
    QPainterPath path; ///< only of a Path
    QPolygonF polygon; ///< only of a Polygon
    QString text;      ///< only of a Text
    QPen pen;
    QBrush brush;
    QFont font;
    QPainterPath clip; ///< empty without a clip
    bool antialiased = false;
};

/// Keeps what is painted as a list, in the order of the calls.
class RecordingEngine : public QPaintEngine
{
public:
    RecordingEngine() : QPaintEngine(AllFeatures) {}

    bool begin(QPaintDevice *) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }

    void updateState(const QPaintEngineState &now) override
    {
        const DirtyFlags changed = now.state();
        if (changed & DirtyPen) {
            m_state.pen = now.pen();
        }
        if (changed & DirtyBrush) {
            m_state.brush = now.brush();
        }
        if (changed & DirtyFont) {
            m_state.font = now.font();
        }
        if (changed & DirtyHints) {
            m_state.antialiased = now.renderHints() & QPainter::Antialiasing;
        }
        if (changed & DirtyClipPath) {
            m_state.clip = now.clipOperation() == Qt::NoClip ? QPainterPath() : now.clipPath();
        }
    }

    void drawPixmap(const QRectF &target, const QPixmap &, const QRectF &) override
    {
        add(Operation::Picture, target);
    }

    void drawRects(const QRectF *rects, int count) override
    {
        for (int i = 0; i < count; ++i) {
            add(Operation::Rectangle, rects[i]);
        }
    }

    void drawPath(const QPainterPath &path) override
    {
        add(Operation::Path, path.boundingRect());
        m_operations.last().path = path;
    }

    void drawPolygon(const QPointF *points, int count, PolygonDrawMode mode) override
    {
        if (mode == PolylineMode) {
            add(Operation::Underline, QRectF(points[0], points[count - 1]));
            return;
        }
        QPolygonF polygon;
        for (int i = 0; i < count; ++i) {
            polygon.append(points[i]);
        }
        add(Operation::Polygon, polygon.boundingRect());
        m_operations.last().polygon = polygon;
    }

    void drawTextItem(const QPointF &start, const QTextItem &item) override
    {
        add(Operation::Text, QRectF(start, QSizeF()));
        m_operations.last().text = item.text();
    }

    const QVector<Operation> &operations() const { return m_operations; }

private:
    void add(Operation::Kind kind, const QRectF &bounds)
    {
        Operation operation = m_state;
        operation.kind = kind;
        operation.bounds = bounds;
        m_operations.append(operation);
    }

    Operation m_state{};
    QVector<Operation> m_operations;
};

class RecordingDevice : public QPaintDevice
{
public:
    explicit RecordingDevice(const QSize &size) : m_size(size) {}

    QPaintEngine *paintEngine() const override { return &m_engine; }
    const QVector<Operation> &operations() const { return m_engine.operations(); }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        switch (metric) {
        case PdmWidth:
            return m_size.width();
        case PdmHeight:
            return m_size.height();
        case PdmDepth:
            return 32;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 96;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return int(devicePixelRatioFScale());
        default:
            return 0;
        }
    }

private:
    QSize m_size;
    mutable RecordingEngine m_engine;
};

QVector<Operation> painted(ProductAdRotator &rotator)
{
    RecordingDevice device(rotator.size());
    rotator.render(&device, QPoint(), QRegion(), QWidget::RenderFlags());
    return device.operations();
}

QVector<Operation> ofKind(const QVector<Operation> &operations, Operation::Kind kind)
{
    QVector<Operation> some;
    std::copy_if(operations.cbegin(), operations.cend(), std::back_inserter(some),
                 [kind](const Operation &operation) { return operation.kind == kind; });
    return some;
}

const QColor behind(255, 0, 255); // what the banner is painted over

/// The banner over a colour that stands nowhere in it.
QImage pixels(ProductAdRotator &rotator)
{
    QImage image(rotator.size(), QImage::Format_RGB32);
    image.fill(behind);
    rotator.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

QColor blended(const QColor &below, const QColor &above, qreal alpha)
{
    const auto mix = [alpha](int a, int b) { return int(std::lround(a * (1 - alpha) + b * alpha)); };
    return QColor(mix(below.red(), above.red()), mix(below.green(), above.green()),
                  mix(below.blue(), above.blue()));
}

/// Colours that differ by no more than what rounding in several steps makes.
bool isNear(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= 3 && std::abs(a.green() - b.green()) <= 3 &&
           std::abs(a.blue() - b.blue()) <= 3;
}

bool isNear(const QRectF &a, const QRectF &b)
{
    return std::abs(a.left() - b.left()) < 0.001 && std::abs(a.top() - b.top()) < 0.001 &&
           std::abs(a.right() - b.right()) < 0.001 && std::abs(a.bottom() - b.bottom()) < 0.001;
}

bool isNear(const QPolygonF &a, const QPolygonF &b)
{
    return a.size() == b.size() && std::equal(a.cbegin(), a.cend(), b.cbegin(), [](QPointF p, QPointF q) {
               return (p - q).manhattanLength() < 0.001;
           });
}

QPainterPath roundedRect(const QRectF &rect, qreal radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

QByteArray describe(const QRectF &rect)
{
    return QStringLiteral("(%1, %2) to (%3, %4)")
        .arg(rect.left())
        .arg(rect.top())
        .arg(rect.right())
        .arg(rect.bottom())
        .toUtf8();
}

/// Presses a mouse button, and tells whether the banner kept the event.
bool press(ProductAdRotator &rotator, const QPoint &position, Qt::MouseButton button = Qt::LeftButton)
{
    QMouseEvent event(QEvent::MouseButtonPress, position, button, button, Qt::NoModifier);
    QCoreApplication::sendEvent(&rotator, &event);
    return event.isAccepted();
}

/// Has the timer fire now.
void fire(QTimer &timer)
{
    QTimerEvent event(timer.timerId());
    QCoreApplication::sendEvent(&timer, &event);
}

/// The middle of a button of a banner of 700 by 105 pixels.
QPoint middleOf(Button button)
{
    return ProductAdRotator::buttonRect(QRectF(1, 1, 698, 103), button).center().toPoint();
}

/// Counts how often a widget is painted.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget) { widget->installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }

    int count = 0;
};

} // namespace

/// Outside any namespace, as the resources' own function is.
static void initResources()
{
    Q_INIT_RESOURCE(sondrix);
}

class ProductAdRotatorTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void construction();
    void isAPlainWidget();
    void sizeHints();
    void heightKeepsItsLimits_data();
    void heightKeepsItsLimits();
    void slides_data();
    void slides();
    void pictureOfEachSlide_data();
    void pictureOfEachSlide();
    void textsAreNotTranslated();

    void buttonRect_data();
    void buttonRect();

    void rotates();
    void rotationWrapsAround();
    void rotatesWhetherShownOrNot();
    void back();
    void backFromTheFirstSlide();
    void forward();
    void forwardFromTheLastSlide();
    void stepGivesTheSlideItsFullTime_data();
    void stepGivesTheSlideItsFullTime();
    void pause();
    void pauseWhilePaused();
    void stepWhilePausedLeavesTheTimers_data();
    void stepWhilePausedLeavesTheTimers();
    void pauseEnds();
    void pauseEndsWithFewSlides_data();
    void pauseEndsWithFewSlides();
    void noSlides();
    void pressOnAButtonIsKept_data();
    void pressOnAButtonIsKept();
    void pressElsewhereOpensThePage_data();
    void pressElsewhereOpensThePage();
    void pageOfTheSlideOnShow();
    void otherMouseButtonsDoNothing_data();
    void otherMouseButtonsDoNothing();
    void repaints_data();
    void repaints();

    void orderOfPainting();
    void allIsAntialiased();
    void pictureStandsLeftAndInTheMiddle_data();
    void pictureStandsLeftAndInTheMiddle();
    void overlayStartsAtTheTexts_data();
    void overlayStartsAtTheTexts();
    void overlayGradient();
    void clipEndsBeforeTheOutline();
    void outlinePen();
    void title();
    void body();
    void footer();
    void footerEndsBeforeTheButtons();
    void buttons();
    void triangles();
    void bars_data();
    void bars();

    void pixelsOutsideTheCornersAreUntouched();
    void pixelsOfTheOverlay();
    void pixelsOfTheOutline();
    void pixelsOfAWidePicture();
    void pixelsOfAMissingPicture();
    void pixelsOfTheGlyphs_data();
    void pixelsOfTheGlyphs();
    void pixelsOfTheButtons();
    void pictureIsReadAtEachPaint();

public slots:
    void openPage(const QUrl &url) { m_openedPages.append(url.toString()); }

private:
    /// Makes a picture the background of the slide on show.
    void setPicture(const QImage &picture);

    QScopedPointer<ProductAdRotator> m_rotator;
    QScopedPointer<QTemporaryDir> m_directory;
    QStringList m_openedPages;
};

void ProductAdRotatorTest::initTestCase()
{
    initResources();
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "openPage");
}

void ProductAdRotatorTest::init()
{
    m_openedPages.clear();
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_rotator.reset(new ProductAdRotator);
    m_rotator->resize(700, 105);
}

void ProductAdRotatorTest::cleanup()
{
    m_rotator.reset();
}

void ProductAdRotatorTest::setPicture(const QImage &picture)
{
    const QString path = m_directory->filePath(QStringLiteral("picture.png"));
    QVERIFY(picture.save(path));
    m_rotator->m_slides[m_rotator->m_currentIndex].imagePath = path;
}

void ProductAdRotatorTest::construction()
{
    QCOMPARE(m_rotator->objectName(), QStringLiteral("productAdRotator"));
    QCOMPARE(m_rotator->cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(m_rotator->minimumHeight(), 105);
    QCOMPARE(m_rotator->maximumHeight(), 132);
    QCOMPARE(m_rotator->toolTip(), QStringLiteral("Open product information on www.corvane.example"));
    QCOMPARE(m_rotator->m_slides.size(), slideCount);
    QCOMPARE(m_rotator->m_currentIndex, 0);

    QVERIFY(m_rotator->m_rotationTimer.isActive());
    QVERIFY(!m_rotator->m_rotationTimer.isSingleShot());
    QCOMPARE(m_rotator->m_rotationTimer.interval(), rotationMs);
    QVERIFY(!m_rotator->m_pauseTimer.isActive());
    QVERIFY(m_rotator->m_pauseTimer.isSingleShot());

    QWidget parent;
    const ProductAdRotator child(&parent);
    QCOMPARE(child.parentWidget(), &parent);
}

void ProductAdRotatorTest::isAPlainWidget()
{
    QCOMPARE(m_rotator->metaObject(), &QWidget::staticMetaObject);
}

void ProductAdRotatorTest::sizeHints()
{
    QCOMPARE(m_rotator->sizeHint(), QSize(900, 104));
    QCOMPARE(m_rotator->minimumSizeHint(), QSize(420, 92));
}

void ProductAdRotatorTest::heightKeepsItsLimits_data()
{
    QTest::addColumn<int>("wanted");
    QTest::addColumn<int>("given");
    QTest::newRow("size hint") << 104 << 105;
    QTest::newRow("minimum size hint") << 92 << 105;
    QTest::newRow("between") << 120 << 120;
    QTest::newRow("too high") << 500 << 132;
}

void ProductAdRotatorTest::heightKeepsItsLimits()
{
    QFETCH(int, wanted);
    m_rotator->resize(700, wanted);
    QTEST(m_rotator->height(), "given");
}

void ProductAdRotatorTest::slides_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("imagePath");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("body");

    int index = 0;
    const auto row = [&](const char *title, const char *imagePath, const char *path, const char *body) {
        QTest::newRow(title) << index++ << QString::fromLatin1(imagePath) << QString::fromLatin1(path)
                             << QString::fromLatin1(body);
    };
    row("Streamlark", ":/adbackgrounds/adbackground_streamlark.png",
        "/productsmenu-56/networkstreaminglist/streamlark",
        "Review, approve, and deliver live video sessions with secure low-latency IP streaming, "
        "collaboration tools, and editor-friendly remote workflows.");
    row("Kodrane", ":/adbackgrounds/adbackground_kodrane.png",
        "/index.php/productsmenu-56/networkstreaminglist/kod-x-rane",
        "Build scalable ingest, transcode, clipping, proxy, archive, partial-restore, and IP/SDI output "
        "workflows for broadcast and enterprise media operations.");
    row("PATHVEIL", ":/adbackgrounds/adbackground_pathveil.png",
        "/productsmenu-56/networkstreaminglist/pathveil-srt-rist-udp-rtp",
        "Route SRT, RTP, UDP, and RIST streams from many inputs to many outputs, with protocol conversion "
        "for flexible IP video distribution.");
    row("Fluxorin", ":/adbackgrounds/adbackground_fluxorin.png",
        "/productsmenu-56/fluxorinlist/fluxorin-workstation",
        "Add broad professional camera, mastering, and broadcast file support directly inside Adobe, Avid, "
        "Resolve, Autodesk, and server workflows.");
    row("Vidruna", ":/adbackgrounds/adbackground_vidruna.png",
        "/index.php/productsmenu-56/videoiosoftwarelist/vidruna",
        "Inspect files and IP streams with playback, scopes, captions, metadata checks, comparisons, "
        "reports, watch folders, and automated QC analysis.");
    row("CorvaneScope", ":/adbackgrounds/adbackground_corvanescope.png",
        "/productsmenu-56/test-and-measurement/corvanescope-free-waveform-vectorscope",
        "Validate signals with waveform, vectorscope, histogram, chromaticity, audio, HDR/WCG, SDI/HDMI, "
        "and ST 2110/IP analysis tools.");
    row("Scopelune", ":/adbackgrounds/adbackground_scopelune.png",
        "/index.php/productsmenu-56/test-and-measurement/networkvideoanalyzer",
        "Monitor ST 2110, SRT, UDP, RTP, RIST, NDI, SDI, and HDMI sources with multi-scope signal analysis "
        "for IP production workflows.");
    row("Testcardia", ":/adbackgrounds/adbackground_testcardia.png",
        "/productsmenu-56/videoiosoftwarelist/testcardia",
        "Generate standards-based video patterns, tones, captions, time code, counters, overlays, and A/V "
        "sync tests for setup and compliance.");
}

void ProductAdRotatorTest::slides()
{
    QFETCH(int, index);
    QFETCH(QString, path);
    const AdSlide slide = m_rotator->m_slides.value(index);
    QCOMPARE(slide.title, QString::fromLatin1(QTest::currentDataTag()));
    QTEST(slide.imagePath, "imagePath");
    QCOMPARE(slide.url, QString(QStringLiteral("https://www.corvane.example") + path));
    QTEST(slide.body, "body");
    QVERIFY(QUrl(slide.url, QUrl::StrictMode).isValid());
}

void ProductAdRotatorTest::pictureOfEachSlide_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < slideCount; ++i) {
        QTest::addRow("slide %d", i + 1) << i;
    }
}

void ProductAdRotatorTest::pictureOfEachSlide()
{
    QFETCH(int, index);
    QCOMPARE(QPixmap(m_rotator->m_slides.at(index).imagePath).size(), QSize(1920, 105));
}

void ProductAdRotatorTest::textsAreNotTranslated()
{
    class Shouting : public QTranslator
    {
    public:
        bool isEmpty() const override { return false; }
        QString translate(const char *, const char *text, const char *, int) const override
        {
            return QString::fromUtf8(text).toUpper();
        }
    };
    Shouting translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    ProductAdRotator rotator;
    rotator.resize(700, 105);
    const QVector<Operation> texts = ofKind(painted(rotator), Operation::Text);
    QCoreApplication::removeTranslator(&translator);

    QCOMPARE(rotator.toolTip(), m_rotator->toolTip());
    QCOMPARE(rotator.m_slides.first().title, m_rotator->m_slides.first().title);
    QCOMPARE(rotator.m_slides.first().body, m_rotator->m_slides.first().body);
    QVERIFY(!texts.isEmpty());
    QVERIFY(texts.last().text.startsWith(QStringLiteral("Click anywhere")));
}

void ProductAdRotatorTest::buttonRect_data()
{
    QTest::addColumn<QRectF>("area");
    QTest::addColumn<int>("index");
    QTest::addColumn<QRectF>("rect");

    const QRectF lowest(1, 1, 698, 103);
    QTest::newRow("height 105, back") << lowest << 0 << QRectF(618.29, 74.43, 19.57, 19.57);
    QTest::newRow("height 105, pause") << lowest << 1 << QRectF(641.86, 74.43, 19.57, 19.57);
    QTest::newRow("height 105, forward") << lowest << 2 << QRectF(665.43, 74.43, 19.57, 19.57);
    const QRectF highest(1, 1, 1158, 130);
    QTest::newRow("height 132, back") << highest << 0 << QRectF(1071, 99, 22, 22);
    QTest::newRow("height 132, pause") << highest << 1 << QRectF(1097, 99, 22, 22);
    QTest::newRow("height 132, forward") << highest << 2 << QRectF(1123, 99, 22, 22);
    QTest::newRow("below the floor") << QRectF(0, 0, 300, 90) << 2 << QRectF(268, 62, 18, 18);
    QTest::newRow("elsewhere") << QRectF(100, 50, 200, 130) << 0 << QRectF(212, 148, 22, 22);
}

void ProductAdRotatorTest::buttonRect()
{
    QFETCH(QRectF, area);
    QFETCH(int, index);
    QFETCH(QRectF, rect);
    const QRectF given = ProductAdRotator::buttonRect(area, index);
    QVERIFY2(isNear(given, rect), describe(given).constData());
}

void ProductAdRotatorTest::rotates()
{
    fire(m_rotator->m_rotationTimer);
    QCOMPARE(m_rotator->m_currentIndex, 1);
    QVERIFY(m_rotator->m_rotationTimer.isActive());
}

void ProductAdRotatorTest::rotationWrapsAround()
{
    for (int i = 0; i < slideCount - 1; ++i) {
        fire(m_rotator->m_rotationTimer);
    }
    QCOMPARE(m_rotator->m_currentIndex, slideCount - 1);
    fire(m_rotator->m_rotationTimer);
    QCOMPARE(m_rotator->m_currentIndex, 0);
}

void ProductAdRotatorTest::rotatesWhetherShownOrNot()
{
    QVERIFY(!m_rotator->isVisible());
    QVERIFY(m_rotator->m_rotationTimer.isActive());
    m_rotator->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_rotator.data()));
    QVERIFY(m_rotator->m_rotationTimer.isActive());
    m_rotator->hide();
    QVERIFY(m_rotator->m_rotationTimer.isActive());

    press(*m_rotator, middleOf(PauseButton));
    m_rotator->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_rotator.data()));
    m_rotator->hide();
    QVERIFY(m_rotator->m_pauseTimer.isActive());
    QVERIFY(!m_rotator->m_rotationTimer.isActive());
}

void ProductAdRotatorTest::back()
{
    m_rotator->m_currentIndex = 3;
    press(*m_rotator, middleOf(BackButton));
    QCOMPARE(m_rotator->m_currentIndex, 2);
}

void ProductAdRotatorTest::backFromTheFirstSlide()
{
    press(*m_rotator, middleOf(BackButton));
    QCOMPARE(m_rotator->m_currentIndex, slideCount - 1);
}

void ProductAdRotatorTest::forward()
{
    m_rotator->m_currentIndex = 3;
    press(*m_rotator, middleOf(ForwardButton));
    QCOMPARE(m_rotator->m_currentIndex, 4);
}

void ProductAdRotatorTest::forwardFromTheLastSlide()
{
    m_rotator->m_currentIndex = slideCount - 1;
    press(*m_rotator, middleOf(ForwardButton));
    QCOMPARE(m_rotator->m_currentIndex, 0);
}

void ProductAdRotatorTest::stepGivesTheSlideItsFullTime_data()
{
    QTest::addColumn<int>("button");
    QTest::newRow("back") << int(BackButton);
    QTest::newRow("forward") << int(ForwardButton);
}

void ProductAdRotatorTest::stepGivesTheSlideItsFullTime()
{
    QFETCH(int, button);
    m_rotator->m_rotationTimer.start(rotationMs + 1); // another interval shows that it starts again
    press(*m_rotator, middleOf(Button(button)));
    QCOMPARE(m_rotator->m_rotationTimer.interval(), rotationMs);
    QVERIFY(m_rotator->m_rotationTimer.isActive());
    QVERIFY(!m_rotator->m_pauseTimer.isActive());
}

void ProductAdRotatorTest::pause()
{
    press(*m_rotator, middleOf(PauseButton));
    QVERIFY(!m_rotator->m_rotationTimer.isActive());
    QVERIFY(m_rotator->m_pauseTimer.isActive());
    QCOMPARE(m_rotator->m_pauseTimer.interval(), pauseMs);
    QCOMPARE(m_rotator->m_currentIndex, 0);
}

void ProductAdRotatorTest::pauseWhilePaused()
{
    press(*m_rotator, middleOf(PauseButton));
    m_rotator->m_pauseTimer.start(pauseMs + 1); // another interval shows that it starts again
    press(*m_rotator, middleOf(PauseButton));
    QVERIFY(m_rotator->m_pauseTimer.isActive());
    QCOMPARE(m_rotator->m_pauseTimer.interval(), pauseMs);
    QVERIFY(!m_rotator->m_rotationTimer.isActive());
}

void ProductAdRotatorTest::stepWhilePausedLeavesTheTimers_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<int>("index");
    QTest::newRow("back") << int(BackButton) << slideCount - 1;
    QTest::newRow("forward") << int(ForwardButton) << 1;
}

void ProductAdRotatorTest::stepWhilePausedLeavesTheTimers()
{
    QFETCH(int, button);
    press(*m_rotator, middleOf(PauseButton));
    m_rotator->m_pauseTimer.start(pauseMs + 1);
    press(*m_rotator, middleOf(Button(button)));
    QTEST(m_rotator->m_currentIndex, "index");
    QVERIFY(!m_rotator->m_rotationTimer.isActive());
    QVERIFY(m_rotator->m_pauseTimer.isActive());
    QCOMPARE(m_rotator->m_pauseTimer.interval(), pauseMs + 1);
}

void ProductAdRotatorTest::pauseEnds()
{
    press(*m_rotator, middleOf(PauseButton));
    press(*m_rotator, middleOf(ForwardButton));
    fire(m_rotator->m_pauseTimer);
    QVERIFY(!m_rotator->m_pauseTimer.isActive());
    QVERIFY(m_rotator->m_rotationTimer.isActive());
    QCOMPARE(m_rotator->m_rotationTimer.interval(), rotationMs);
    QCOMPARE(m_rotator->m_currentIndex, 1);
}

void ProductAdRotatorTest::pauseEndsWithFewSlides_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("rotates");
    QTest::newRow("no slides") << 0 << false;
    QTest::newRow("one slide") << 1 << false;
    QTest::newRow("two slides") << 2 << true;
}

void ProductAdRotatorTest::pauseEndsWithFewSlides()
{
    QFETCH(int, count);
    m_rotator->m_slides.resize(count);
    press(*m_rotator, middleOf(PauseButton));
    fire(m_rotator->m_pauseTimer);
    QTEST(m_rotator->m_rotationTimer.isActive(), "rotates");
}

void ProductAdRotatorTest::noSlides()
{
    m_rotator->m_slides.clear();
    fire(m_rotator->m_rotationTimer);
    QVERIFY(press(*m_rotator, middleOf(BackButton)));
    QVERIFY(press(*m_rotator, middleOf(ForwardButton)));
    QCOMPARE(m_rotator->m_currentIndex, 0);
    QVERIFY(!painted(*m_rotator).isEmpty());
}

void ProductAdRotatorTest::pressOnAButtonIsKept_data()
{
    QTest::addColumn<QPoint>("position");
    QTest::newRow("back") << middleOf(BackButton);
    QTest::newRow("pause") << middleOf(PauseButton);
    QTest::newRow("forward") << middleOf(ForwardButton);
    QTest::newRow("first pixel of back") << QPoint(619, 75);
    QTest::newRow("last pixel of back") << QPoint(637, 94);
    QTest::newRow("first pixel of forward") << QPoint(666, 75);
    QTest::newRow("last pixel of forward") << QPoint(685, 94);
}

void ProductAdRotatorTest::pressOnAButtonIsKept()
{
    QFETCH(QPoint, position);
    QVERIFY(press(*m_rotator, position));
    QCOMPARE(m_openedPages, QStringList());
}

void ProductAdRotatorTest::pressElsewhereOpensThePage_data()
{
    QTest::addColumn<QPoint>("position");
    QTest::newRow("picture") << QPoint(50, 50);
    QTest::newRow("texts") << QPoint(300, 30);
    QTest::newRow("first gap") << QPoint(639, 84);
    QTest::newRow("second gap") << QPoint(663, 84);
    QTest::newRow("left of back") << QPoint(618, 84);
    QTest::newRow("right of forward") << QPoint(686, 84);
    QTest::newRow("above pause") << QPoint(650, 74);
    QTest::newRow("below pause") << QPoint(650, 95);
    QTest::newRow("corner") << QPoint(0, 0);
}

void ProductAdRotatorTest::pressElsewhereOpensThePage()
{
    QFETCH(QPoint, position);
    QVERIFY(!press(*m_rotator, position));
    QCOMPARE(m_openedPages, QStringList{m_rotator->m_slides.first().url});
    QCOMPARE(m_rotator->m_currentIndex, 0);
    QVERIFY(m_rotator->m_rotationTimer.isActive());
    QVERIFY(!m_rotator->m_pauseTimer.isActive());
}

void ProductAdRotatorTest::pageOfTheSlideOnShow()
{
    QStringList pages;
    for (int i = 0; i < slideCount; ++i) {
        press(*m_rotator, QPoint(50, 50));
        pages.append(m_rotator->m_slides.at(i).url);
        fire(m_rotator->m_rotationTimer);
    }
    QCOMPARE(m_openedPages, pages);
}

void ProductAdRotatorTest::otherMouseButtonsDoNothing_data()
{
    QTest::addColumn<QPoint>("position");
    QTest::addColumn<int>("button");
    QTest::newRow("right on the picture") << QPoint(50, 50) << int(Qt::RightButton);
    QTest::newRow("right on back") << middleOf(BackButton) << int(Qt::RightButton);
    QTest::newRow("right on pause") << middleOf(PauseButton) << int(Qt::RightButton);
    QTest::newRow("right on forward") << middleOf(ForwardButton) << int(Qt::RightButton);
    QTest::newRow("middle on the picture") << QPoint(50, 50) << int(Qt::MiddleButton);
    QTest::newRow("middle on pause") << middleOf(PauseButton) << int(Qt::MiddleButton);
}

void ProductAdRotatorTest::otherMouseButtonsDoNothing()
{
    QFETCH(QPoint, position);
    QFETCH(int, button);
    m_rotator->m_rotationTimer.start(rotationMs + 1);
    QVERIFY(!press(*m_rotator, position, Qt::MouseButton(button)));
    QCOMPARE(m_openedPages, QStringList());
    QCOMPARE(m_rotator->m_currentIndex, 0);
    QCOMPARE(m_rotator->m_rotationTimer.interval(), rotationMs + 1);
    QVERIFY(m_rotator->m_rotationTimer.isActive());
    QVERIFY(!m_rotator->m_pauseTimer.isActive());
}

void ProductAdRotatorTest::repaints_data()
{
    QTest::addColumn<Action>("action");
    QTest::newRow("rotation") << Action([this] { fire(m_rotator->m_rotationTimer); });
    QTest::newRow("end of the pause") << Action([this] { fire(m_rotator->m_pauseTimer); });
    QTest::newRow("back") << Action([this] { press(*m_rotator, middleOf(BackButton)); });
    QTest::newRow("pause") << Action([this] { press(*m_rotator, middleOf(PauseButton)); });
    QTest::newRow("forward") << Action([this] { press(*m_rotator, middleOf(ForwardButton)); });
}

void ProductAdRotatorTest::repaints()
{
    QFETCH(Action, action);
    m_rotator->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_rotator.data()));
    m_rotator->m_pauseTimer.start(pauseMs); // for the row of its end
    QCoreApplication::processEvents();
    PaintCounter counter(m_rotator.data());
    action();
    QTRY_COMPARE(counter.count, 1);
}

void ProductAdRotatorTest::orderOfPainting()
{
    QVector<Operation::Kind> kinds;
    const QVector<Operation> operations = painted(*m_rotator);
    for (const Operation &operation : operations) {
        if (operation.kind != Operation::Text || !kinds.endsWith(Operation::Text)) {
            kinds.append(operation.kind);
        }
    }
    const QVector<Operation::Kind> expected{
        Operation::Picture, Operation::Rectangle,                  // picture and overlay
        Operation::Path,                                           // outline
        Operation::Text,    Operation::Underline,                  // title, body and footer
        Operation::Path,    Operation::Path,      Operation::Path, // buttons
        Operation::Polygon,                                        // back
        Operation::Path,    Operation::Path,                       // pause
        Operation::Polygon,                                        // forward
    };
    QCOMPARE(kinds, expected);
}

void ProductAdRotatorTest::allIsAntialiased()
{
    const QVector<Operation> operations = painted(*m_rotator);
    QVERIFY(!operations.isEmpty());
    for (const Operation &operation : operations) {
        QVERIFY(operation.antialiased);
    }
}

void ProductAdRotatorTest::pictureStandsLeftAndInTheMiddle_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRectF>("target");
    // 1920 by 105, scaled to the larger of the two factors, in whole pixels.
    QTest::newRow("narrow and low") << QSize(700, 105) << QRectF(1, 1, 1883, 103);
    QTest::newRow("narrow and high") << QSize(420, 132) << QRectF(1, 1, 2377, 130);
    QTest::newRow("its own size") << QSize(1922, 107) << QRectF(1, 1, 1920, 105);
    QTest::newRow("wide and low") << QSize(2502, 105) << QRectF(1, -15.5, 2500, 136);
    QTest::newRow("very wide and high") << QSize(5002, 132) << QRectF(1, -70.5, 5000, 273);
}

void ProductAdRotatorTest::pictureStandsLeftAndInTheMiddle()
{
    QFETCH(QSize, size);
    QFETCH(QRectF, target);
    m_rotator->resize(size);
    const QVector<Operation> pictures = ofKind(painted(*m_rotator), Operation::Picture);
    QCOMPARE(pictures.size(), 1);
    QVERIFY2(isNear(pictures.first().bounds, target), describe(pictures.first().bounds).constData());
}

void ProductAdRotatorTest::overlayStartsAtTheTexts_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<qreal>("clearWidth");
    QTest::newRow("narrow") << QSize(422, 105) << 134.4;
    QTest::newRow("just by the width") << QSize(468, 105) << 149.12;
    QTest::newRow("just by the height") << QSize(469, 105) << 149.35;
    QTest::newRow("wide") << QSize(1162, 105) << 149.35;
    QTest::newRow("wide and high") << QSize(1162, 132) << 188.5;
}

void ProductAdRotatorTest::overlayStartsAtTheTexts()
{
    QFETCH(QSize, size);
    QFETCH(qreal, clearWidth);
    m_rotator->resize(size);
    const QVector<Operation> operations = painted(*m_rotator);
    const QVector<Operation> overlays = ofKind(operations, Operation::Rectangle);
    QCOMPARE(overlays.size(), 1);
    const QRectF area(1, 1, size.width() - 2, size.height() - 2);
    const QRectF overlay = overlays.first().bounds;
    QVERIFY2(isNear(overlay, area.adjusted(clearWidth, 0, 0, 0)), describe(overlay).constData());
    const QVector<Operation> texts = ofKind(operations, Operation::Text);
    QVERIFY(texts.size() >= 3);
    for (const Operation &text : texts) {
        QVERIFY(std::abs(text.bounds.left() - overlay.left()) < 0.1); // fonts place in 1/64 pixels
    }
}

void ProductAdRotatorTest::overlayGradient()
{
    const Operation overlay = ofKind(painted(*m_rotator), Operation::Rectangle).value(0);
    QCOMPARE(overlay.pen.style(), Qt::NoPen);
    QCOMPARE(overlay.brush.style(), Qt::LinearGradientPattern);
    const auto *gradient = static_cast<const QLinearGradient *>(overlay.brush.gradient());
    QCOMPARE(gradient->start(), overlay.bounds.topLeft());
    QCOMPARE(gradient->finalStop(), overlay.bounds.topRight());
    const QGradientStops stops{
        {0.0, QColor(0, 0, 0, 205)}, {0.52, QColor(0, 0, 0, 130)}, {1.0, QColor(0, 0, 0, 80)}};
    QCOMPARE(gradient->stops(), stops);
}

void ProductAdRotatorTest::clipEndsBeforeTheOutline()
{
    const QVector<Operation> operations = painted(*m_rotator);
    QVERIFY(operations.size() > 3);
    const QPainterPath outline = roundedRect(QRectF(1, 1, 698, 103), 6);
    QCOMPARE(operations.at(0).clip, outline);
    QCOMPARE(operations.at(1).clip, outline);
    for (int i = 2; i < operations.size(); ++i) {
        // A text that is too long is clipped to its own rectangle.
        if (operations.at(i).kind != Operation::Text) {
            QVERIFY(operations.at(i).clip.isEmpty());
        }
    }
}

void ProductAdRotatorTest::outlinePen()
{
    const Operation outline = ofKind(painted(*m_rotator), Operation::Path).value(0);
    QCOMPARE(outline.path, roundedRect(QRectF(1, 1, 698, 103), 6));
    QCOMPARE(outline.pen, QPen(QColor(255, 255, 255, 60), 1, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    QCOMPARE(outline.brush.style(), Qt::NoBrush);
}

void ProductAdRotatorTest::title()
{
    const Operation title = ofKind(painted(*m_rotator), Operation::Text).value(0);
    QCOMPARE(title.text, QStringLiteral("Streamlark"));
    QCOMPARE(title.pen.color(), QColor(Qt::white));
    QFont font = m_rotator->font();
    font.setWeight(75);
    font.setPointSize(16);
    QCOMPARE(title.font, font);
    const qreal ascent = QFontMetricsF(font, m_rotator.data()).ascent();
    QVERIFY(std::abs(title.bounds.top() - (12 + ascent)) <= 1); // top aligned, on the base line
}

void ProductAdRotatorTest::body()
{
    QVector<Operation> texts = ofKind(painted(*m_rotator), Operation::Text);
    QVERIFY(texts.size() >= 4); // the body takes two lines at this width
    texts.removeFirst();
    texts.removeLast();
    QFont font = m_rotator->font();
    font.setPointSize(9);
    QStringList lines;
    for (const Operation &text : qAsConst(texts)) {
        lines.append(text.text.trimmed());
        QCOMPARE(text.font, font);
        QCOMPARE(text.pen.color(), QColor(235, 241, 248));
    }
    QCOMPARE(lines.join(QLatin1Char(' ')), m_rotator->m_slides.first().body);
    const qreal ascent = QFontMetricsF(font, m_rotator.data()).ascent();
    QVERIFY(std::abs(texts.first().bounds.top() - (12 + 31 + ascent)) <= 1);
}

void ProductAdRotatorTest::footer()
{
    const QVector<Operation> texts = ofKind(painted(*m_rotator), Operation::Text);
    QVERIFY(!texts.isEmpty());
    const Operation &footer = texts.last();
    QCOMPARE(footer.text, QStringLiteral("Click anywhere to open product details on www.corvane.example"));
    QFont font = m_rotator->font();
    font.setPointSize(8);
    font.setUnderline(true);
    QCOMPARE(footer.font, font);
    QCOMPARE(footer.pen.color(), QColor(214, 232, 255));
    // The text rectangle ends at 104 - 10; the middle of its last 19 pixels is at 84.5.
    const QFontMetricsF metrics(font, m_rotator.data());
    QVERIFY(std::abs(footer.bounds.top() - (84.5 - metrics.height() / 2 + metrics.ascent())) <= 1);
}

void ProductAdRotatorTest::footerEndsBeforeTheButtons()
{
    // So narrow that the footer would run into the first button, were it not cut off before it.
    m_rotator->resize(420, 105);
    m_rotator->m_slides.first().imagePath.clear();
    const QImage image = pixels(*m_rotator);
    const QRectF backButton = ProductAdRotator::buttonRect(QRectF(1, 1, 418, 103), BackButton);
    const auto isPlain = [&](int x) {
        for (int y = int(backButton.top()); y < int(backButton.bottom()); ++y) {
            if (image.pixelColor(x, y).blue() > 95) { // brighter than the colour for no picture
                return false;
            }
        }
        return true;
    };
    QVERIFY(!isPlain(int(backButton.left()) - 11));
    for (int x = int(backButton.left()) - 7; x < int(backButton.left()) - 1; ++x) {
        QVERIFY(isPlain(x));
    }
}

void ProductAdRotatorTest::buttons()
{
    const QVector<Operation> paths = ofKind(painted(*m_rotator), Operation::Path);
    QVERIFY(paths.size() >= 4);
    for (int i = 0; i < 3; ++i) {
        const Operation &button = paths.at(1 + i);
        QCOMPARE(button.path, roundedRect(ProductAdRotator::buttonRect(QRectF(1, 1, 698, 103), i), 4));
        QCOMPARE(button.brush, QBrush(QColor(0, 0, 0, 120)));
        QCOMPARE(button.pen,
                 QPen(QColor(255, 255, 255, 110), 1, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    }
}

void ProductAdRotatorTest::triangles()
{
    m_rotator->resize(700, 132); // buttons of 22 pixels, the first at (611, 99)
    const QVector<Operation> triangles = ofKind(painted(*m_rotator), Operation::Polygon);
    QCOMPARE(triangles.size(), 2);
    // 0.33 of 22 is 7.26, and 0.28 of 22 is 6.16.
    const QPolygonF pointsLeft({QPointF(618.26, 110), QPointF(625.74, 105.16), QPointF(625.74, 114.84)});
    const QPolygonF pointsRight({QPointF(677.74, 110), QPointF(670.26, 105.16), QPointF(670.26, 114.84)});
    QVERIFY(isNear(triangles.at(0).polygon, pointsLeft));
    QVERIFY(isNear(triangles.at(1).polygon, pointsRight));
    for (const Operation &triangle : triangles) {
        QCOMPARE(triangle.pen.style(), Qt::NoPen);
        QCOMPARE(triangle.brush, QBrush(QColor(225, 236, 248)));
    }
}

void ProductAdRotatorTest::bars_data()
{
    QTest::addColumn<bool>("paused");
    QTest::addColumn<QColor>("color");
    QTest::newRow("running") << false << QColor(225, 236, 248);
    QTest::newRow("paused") << true << QColor(255, 255, 255);
}

void ProductAdRotatorTest::bars()
{
    QFETCH(bool, paused);
    QFETCH(QColor, color);
    m_rotator->resize(700, 132);
    if (paused) {
        m_rotator->m_pauseTimer.start(pauseMs);
    }
    const QVector<Operation> paths = ofKind(painted(*m_rotator), Operation::Path);
    QCOMPARE(paths.size(), 6);
    // 3.08 wide, 10.12 high and 2.64 apart, around the middle of the button, (648, 110).
    QVERIFY2(isNear(paths.at(4).bounds, QRectF(643.6, 104.94, 3.08, 10.12)),
             describe(paths.at(4).bounds).constData());
    QVERIFY2(isNear(paths.at(5).bounds, QRectF(649.32, 104.94, 3.08, 10.12)),
             describe(paths.at(5).bounds).constData());
    for (int i : {4, 5}) {
        QCOMPARE(paths.at(i).path, roundedRect(paths.at(i).bounds, 1));
        QCOMPARE(paths.at(i).pen.style(), Qt::NoPen);
        QCOMPARE(paths.at(i).brush, QBrush(color));
    }
}

void ProductAdRotatorTest::pixelsOutsideTheCornersAreUntouched()
{
    const QImage image = pixels(*m_rotator);
    const int right = image.width() - 1;
    const int bottom = image.height() - 1;
    for (const QPoint &inset : {QPoint(0, 0), QPoint(1, 1), QPoint(2, 0), QPoint(0, 2)}) {
        QCOMPARE(image.pixelColor(inset.x(), inset.y()), behind);
        QCOMPARE(image.pixelColor(right - inset.x(), inset.y()), behind);
        QCOMPARE(image.pixelColor(inset.x(), bottom - inset.y()), behind);
        QCOMPARE(image.pixelColor(right - inset.x(), bottom - inset.y()), behind);
    }
    QVERIFY(image.pixelColor(4, 4) != behind);
    QVERIFY(image.pixelColor(right - 4, 4) != behind);
    QVERIFY(image.pixelColor(4, bottom - 4) != behind);
    QVERIFY(image.pixelColor(right - 4, bottom - 4) != behind);
}

void ProductAdRotatorTest::pixelsOfTheOverlay()
{
    const QColor colour(200, 100, 50);
    QImage picture(1920, 105, QImage::Format_RGB32);
    picture.fill(colour);
    setPicture(picture);
    m_rotator->resize(702, 105); // the overlay covers 150.35 to 701
    const QImage image = pixels(*m_rotator);
    const int y = 6; // above all texts
    QCOMPARE(image.pixelColor(100, y), colour);
    QCOMPARE(image.pixelColor(149, y), colour);
    const auto shaded = [&](qreal alpha) { return blended(colour, Qt::black, alpha / 255); };
    QVERIFY(isNear(image.pixelColor(152, y), shaded(205)));
    QVERIFY(isNear(image.pixelColor(150 + int(0.52 * 550.65), y), shaded(130)));
    QVERIFY(isNear(image.pixelColor(150 + int(0.26 * 550.65), y), shaded(167.5)));
    QVERIFY(isNear(image.pixelColor(698, y), shaded(80)));
}

void ProductAdRotatorTest::pixelsOfTheOutline()
{
    const QColor colour(200, 100, 50);
    QImage picture(1920, 105, QImage::Format_RGB32);
    picture.fill(colour);
    setPicture(picture);
    const QImage image = pixels(*m_rotator);
    // The line runs along the border of two pixels and so covers half of each.
    const qreal half = 60.0 / 255 / 2;
    QVERIFY(isNear(image.pixelColor(80, 0), blended(behind, Qt::white, half)));
    QVERIFY(isNear(image.pixelColor(80, 1), blended(colour, Qt::white, half)));
    QCOMPARE(image.pixelColor(80, 2), colour);
    QVERIFY(isNear(image.pixelColor(0, 50), blended(behind, Qt::white, half)));
    QVERIFY(isNear(image.pixelColor(80, 104), blended(behind, Qt::white, half)));
}

void ProductAdRotatorTest::pixelsOfAWidePicture()
{
    // Of a picture in three colours only the left one is wide enough for a narrow banner.
    QImage picture(1920, 105, QImage::Format_RGB32);
    picture.fill(Qt::red);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 720; x < picture.width(); ++x) {
            picture.setPixelColor(x, y, Qt::blue);
        }
    }
    setPicture(picture);
    const QImage image = pixels(*m_rotator);
    QCOMPARE(image.pixelColor(3, 50), QColor(Qt::red));
    QCOMPARE(image.pixelColor(690, 6).blue(), 0);
    QVERIFY(image.pixelColor(690, 6).red() > 100);
}

void ProductAdRotatorTest::pixelsOfAMissingPicture()
{
    m_rotator->m_slides.first().imagePath = QStringLiteral(":/none.png");
    const QVector<Operation> operations = painted(*m_rotator);
    QVERIFY(ofKind(operations, Operation::Picture).isEmpty());
    QVERIFY(ofKind(operations, Operation::Text).size() >= 3);
    const QImage image = pixels(*m_rotator);
    QCOMPARE(image.pixelColor(80, 50), QColor(31, 58, 95));
    QVERIFY(isNear(image.pixelColor(697, 6), blended(QColor(31, 58, 95), Qt::black, 80.0 / 255)));
    QCOMPARE(image.pixelColor(0, 0), behind);
}

void ProductAdRotatorTest::pixelsOfTheGlyphs_data()
{
    QTest::addColumn<bool>("paused");
    QTest::addColumn<QColor>("color");
    QTest::newRow("running") << false << QColor(225, 236, 248);
    QTest::newRow("paused") << true << QColor(255, 255, 255);
}

void ProductAdRotatorTest::pixelsOfTheGlyphs()
{
    QFETCH(bool, paused);
    QFETCH(QColor, color);
    m_rotator->resize(700, 132);
    if (paused) {
        press(*m_rotator, QPoint(648, 110));
        QVERIFY(m_rotator->m_pauseTimer.isActive());
    }
    const QImage image = pixels(*m_rotator);
    QCOMPARE(image.pixelColor(622, 110), color); // the arrow back
    QCOMPARE(image.pixelColor(645, 110), color); // the two bars
    QCOMPARE(image.pixelColor(650, 110), color);
    QCOMPARE(image.pixelColor(674, 110), color);  // the arrow forward
    QVERIFY(image.pixelColor(647, 110) != color); // between the bars
    QVERIFY(image.pixelColor(615, 110) != color); // beside the arrows
    QVERIFY(image.pixelColor(681, 110) != color);
    QVERIFY(image.pixelColor(619, 106) != color); // the arrow back points to the left,
    QCOMPARE(image.pixelColor(624, 107), color);  // and is high on its right
    QVERIFY(image.pixelColor(677, 106) != color); // the arrow forward points to the right
    QCOMPARE(image.pixelColor(671, 107), color);
}

void ProductAdRotatorTest::pixelsOfTheButtons()
{
    const QColor colour(200, 100, 50);
    QImage picture(1920, 105, QImage::Format_RGB32);
    picture.fill(colour);
    setPicture(picture);
    m_rotator->resize(700, 132);
    const QImage image = pixels(*m_rotator);
    // Left of the forward arrow, within the button; compared with the overlay just above the button.
    const QColor outside = image.pixelColor(667, 95);
    QVERIFY(isNear(image.pixelColor(667, 110), blended(outside, Qt::black, 120.0 / 255)));
    QVERIFY(image.pixelColor(637, 110).red() > image.pixelColor(667, 110).red()); // the gap is bare
}

void ProductAdRotatorTest::pictureIsReadAtEachPaint()
{
    QImage picture(1920, 105, QImage::Format_RGB32);
    picture.fill(QColor(200, 100, 50));
    setPicture(picture);
    QCOMPARE(pixels(*m_rotator).pixelColor(80, 50), QColor(200, 100, 50));
    QVERIFY(QFile::remove(m_rotator->m_slides.first().imagePath));
    QCOMPARE(pixels(*m_rotator).pixelColor(80, 50), QColor(31, 58, 95));
}

QTEST_MAIN(ProductAdRotatorTest)
#include "product_ad_rotator_test.moc"
