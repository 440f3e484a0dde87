#pragma once

#include <QString>
#include <QTimer>
#include <QVector>
#include <QWidget>

class QPainter;

/// One product in the banner.
struct AdSlide {
    QString title;
    QString body;
    QString url;       ///< the product's page
    QString imagePath; ///< resource path of the background
};

/// The banner at the foot of the window: one product at a time, with buttons to step back, pause and
/// step forward. It moves on every nine seconds; a click elsewhere opens the product's page.
class ProductAdRotator : public QWidget
{
public:
    explicit ProductAdRotator(QWidget *parent = nullptr);
    ~ProductAdRotator() override;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// The rectangle of a button within the banner's inner area: 0 is back, 1 pause, 2 forward.
    static QRectF buttonRect(const QRectF &area, int index);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    friend class ProductAdRotatorTest;

    /// The widget's contents, shrunk by one pixel on each side; what is painted and hit.
    QRectF innerArea() const;
    void step(int offset);
    void paintPicture(QPainter &painter, const QRectF &area, qreal clearWidth) const;
    void paintTexts(QPainter &painter, const QRectF &area, qreal clearWidth) const;
    void paintButtons(QPainter &painter, const QRectF &area) const;
    static void drawTriangle(QPainter &painter, const QRectF &rect, bool pointsLeft);

    QVector<AdSlide> m_slides;
    QTimer m_rotationTimer;
    QTimer m_pauseTimer;
    int m_currentIndex = 0;
};
