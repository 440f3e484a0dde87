#include "ui/product_ad_rotator.h"

#include <algorithm>

#include <QDesktopServices>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPolygonF>
#include <QUrl>

#include "core/application_identity.h"

namespace
{

constexpr int rotationMs = 9000;
constexpr int pauseMs = 60000;
constexpr int buttonCount = 3;

enum Button { BackButton = 0, PauseButton = 1, ForwardButton = 2 };

QVector<AdSlide> productSlides()
{
    const auto slide = [](const QString &title, const QString &imageName, const QString &path,
                          const QString &body) {
        return AdSlide{title, body, QStringLiteral("https://") + Sondrix::organizationWebHost() + path,
                       QStringLiteral(":/adbackgrounds/adbackground_%1.png").arg(imageName)};
    };
    return {
        slide(QStringLiteral("Streamlark"), QStringLiteral("streamlark"),
              QStringLiteral("/productsmenu-56/networkstreaminglist/streamlark"),
              QStringLiteral("Review, approve, and deliver live video sessions with secure low-latency IP "
                             "streaming, collaboration tools, and editor-friendly remote workflows.")),
        slide(
            QStringLiteral("Kodrane"), QStringLiteral("kodrane"),
            QStringLiteral("/index.php/productsmenu-56/networkstreaminglist/kod-x-rane"),
            QStringLiteral("Build scalable ingest, transcode, clipping, proxy, archive, partial-restore, and "
                           "IP/SDI output workflows for broadcast and enterprise media operations.")),
        slide(QStringLiteral("PATHVEIL"), QStringLiteral("pathveil"),
              QStringLiteral("/productsmenu-56/networkstreaminglist/pathveil-srt-rist-udp-rtp"),
              QStringLiteral("Route SRT, RTP, UDP, and RIST streams from many inputs to many outputs, with "
                             "protocol conversion for flexible IP video distribution.")),
        slide(QStringLiteral("Fluxorin"), QStringLiteral("fluxorin"),
              QStringLiteral("/productsmenu-56/fluxorinlist/fluxorin-workstation"),
              QStringLiteral("Add broad professional camera, mastering, and broadcast file support directly "
                             "inside Adobe, Avid, Resolve, Autodesk, and server workflows.")),
        slide(QStringLiteral("Vidruna"), QStringLiteral("vidruna"),
              QStringLiteral("/index.php/productsmenu-56/videoiosoftwarelist/vidruna"),
              QStringLiteral("Inspect files and IP streams with playback, scopes, captions, metadata checks, "
                             "comparisons, reports, watch folders, and automated QC analysis.")),
        slide(QStringLiteral("CorvaneScope"), QStringLiteral("corvanescope"),
              QStringLiteral("/productsmenu-56/test-and-measurement/corvanescope-free-waveform-vectorscope"),
              QStringLiteral("Validate signals with waveform, vectorscope, histogram, chromaticity, audio, "
                             "HDR/WCG, SDI/HDMI, and ST 2110/IP analysis tools.")),
        slide(QStringLiteral("Scopelune"), QStringLiteral("scopelune"),
              QStringLiteral("/index.php/productsmenu-56/test-and-measurement/networkvideoanalyzer"),
              QStringLiteral("Monitor ST 2110, SRT, UDP, RTP, RIST, NDI, SDI, and HDMI sources with "
                             "multi-scope signal analysis for IP production workflows.")),
        slide(QStringLiteral("Testcardia"), QStringLiteral("testcardia"),
              QStringLiteral("/productsmenu-56/videoiosoftwarelist/testcardia"),
              QStringLiteral("Generate standards-based video patterns, tones, captions, time code, counters, "
                             "overlays, and A/V sync tests for setup and compliance.")),
    };
}

QPen linePen(const QColor &color)
{
    return QPen(color, 1, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

} // namespace

ProductAdRotator::ProductAdRotator(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("productAdRotator"));
    setCursor(Qt::PointingHandCursor);
    setMinimumHeight(105);
    setMaximumHeight(132);
    setToolTip(QStringLiteral("Open product information on ") + Sondrix::organizationWebHost());
    m_slides = productSlides();
    connect(&m_rotationTimer, &QTimer::timeout, this, [this] { step(1); });
    m_pauseTimer.setSingleShot(true);
    connect(&m_pauseTimer, &QTimer::timeout, this, [this] {
        if (m_slides.size() > 1) {
            m_rotationTimer.start(rotationMs);
        }
        update();
    });
    m_rotationTimer.start(rotationMs);
}

ProductAdRotator::~ProductAdRotator() = default;

QSize ProductAdRotator::sizeHint() const
{
    return QSize(900, 104);
}

QSize ProductAdRotator::minimumSizeHint() const
{
    return QSize(420, 92);
}

QRectF ProductAdRotator::buttonRect(const QRectF &area, int index)
{
    const qreal side = std::clamp(0.19 * area.height(), 18.0, 22.0);
    const qreal left = area.right() - 14 - (buttonCount - index) * side - (buttonCount - 1 - index) * 4;
    return QRectF(left, area.bottom() - 10 - side, side, side);
}

void ProductAdRotator::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QRectF area = innerArea();
    const QPointF point = event->pos();
    if (buttonRect(area, PauseButton).contains(point)) {
        m_rotationTimer.stop();
        m_pauseTimer.start(pauseMs);
        update();
        event->accept();
        return;
    }
    for (const int button : {BackButton, ForwardButton}) {
        if (buttonRect(area, button).contains(point)) {
            step(button == BackButton ? -1 : 1);
            if (!m_pauseTimer.isActive()) {
                m_rotationTimer.start(rotationMs); // the new slide gets its full time
            }
            event->accept();
            return;
        }
    }
    QDesktopServices::openUrl(QUrl(m_slides.value(m_currentIndex).url, QUrl::TolerantMode));
    QWidget::mousePressEvent(event);
}

void ProductAdRotator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = innerArea();
    // The left part keeps the picture clear; the texts stand right of it.
    const qreal clearWidth = std::min(0.32 * area.width(), 1.45 * area.height());
    paintPicture(painter, area, clearWidth);
    paintTexts(painter, area, clearWidth);
    paintButtons(painter, area);
}

QRectF ProductAdRotator::innerArea() const
{
    return QRectF(contentsRect()).adjusted(1, 1, -1, -1);
}

void ProductAdRotator::step(int offset)
{
    if (!m_slides.isEmpty()) {
        m_currentIndex = (m_currentIndex + offset + m_slides.size()) % m_slides.size();
    }
    update();
}

void ProductAdRotator::paintPicture(QPainter &painter, const QRectF &area, qreal clearWidth) const
{
    QPainterPath outline;
    outline.addRoundedRect(area, 6, 6);

    painter.save();
    painter.setClipPath(outline);
    const QPixmap picture(m_slides.value(m_currentIndex).imagePath);
    if (picture.isNull()) {
        painter.fillPath(outline, QColor(31, 58, 95));
    } else {
        const QSizeF size = picture.size().scaled(area.size().toSize(), Qt::KeepAspectRatioByExpanding);
        QRectF target(area.topLeft(), size);
        target.moveTop(area.center().y() - size.height() / 2);
        painter.drawPixmap(target, picture, QRectF(picture.rect()));
    }
    const QRectF overlay = area.adjusted(clearWidth, 0, 0, 0);
    QLinearGradient shade(overlay.topLeft(), overlay.topRight());
    shade.setColorAt(0.0, QColor(0, 0, 0, 205));
    shade.setColorAt(0.52, QColor(0, 0, 0, 130));
    shade.setColorAt(1.0, QColor(0, 0, 0, 80));
    painter.fillRect(overlay, shade);
    painter.restore();

    painter.setPen(linePen(QColor(255, 255, 255, 60)));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(outline);
}

void ProductAdRotator::paintTexts(QPainter &painter, const QRectF &area, qreal clearWidth) const
{
    const AdSlide slide = m_slides.value(m_currentIndex);
    const QRectF text = area.adjusted(clearWidth, 11, -20, -10);

    QFont title = font();
    title.setWeight(QFont::Bold);
    title.setPointSize(16);
    painter.setFont(title);
    painter.setPen(Qt::white);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignTop, slide.title);

    QFont body = font();
    body.setPointSize(9);
    painter.setFont(body);
    painter.setPen(QColor(235, 241, 248));
    painter.drawText(text.adjusted(0, 31, 0, -23), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
                     slide.body);

    QFont footer = font();
    footer.setPointSize(8);
    footer.setUnderline(true);
    painter.setFont(footer);
    painter.setPen(QColor(214, 232, 255));
    QRectF footerRect(text.left(), text.bottom() - 19, text.width(), 19);
    footerRect.setRight(std::min(text.right(), buttonRect(area, BackButton).left() - 8));
    painter.drawText(footerRect, Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Click anywhere to open product details on ") +
                         Sondrix::organizationWebHost());
}

void ProductAdRotator::paintButtons(QPainter &painter, const QRectF &area) const
{
    painter.setBrush(QColor(0, 0, 0, 120));
    painter.setPen(linePen(QColor(255, 255, 255, 110)));
    for (int i = 0; i < buttonCount; ++i) {
        painter.drawRoundedRect(buttonRect(area, i), 4, 4);
    }

    // White glyphs are the sign that the rotation is paused.
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_pauseTimer.isActive() ? QColor(255, 255, 255) : QColor(225, 236, 248));
    drawTriangle(painter, buttonRect(area, BackButton), true);

    const QRectF pause = buttonRect(area, PauseButton);
    const QSizeF bar(0.14 * pause.width(), 0.46 * pause.height());
    const qreal gap = 0.12 * pause.width();
    const qreal top = pause.center().y() - bar.height() / 2;
    painter.drawRoundedRect(QRectF(QPointF(pause.center().x() - gap / 2 - bar.width(), top), bar), 1, 1);
    painter.drawRoundedRect(QRectF(QPointF(pause.center().x() + gap / 2, top), bar), 1, 1);

    drawTriangle(painter, buttonRect(area, ForwardButton), false);
}

void ProductAdRotator::drawTriangle(QPainter &painter, const QRectF &rect, bool pointsLeft)
{
    const qreal dx = 0.33 * rect.width();
    const qreal dy = 0.28 * rect.height();
    const qreal tip = pointsLeft ? rect.left() + dx : rect.right() - dx;
    const qreal base = pointsLeft ? rect.right() - dx : rect.left() + dx;
    painter.drawPolygon(QPolygonF({QPointF(tip, rect.center().y()), QPointF(base, rect.top() + dy),
                                   QPointF(base, rect.bottom() - dy)}),
                        Qt::OddEvenFill);
}
