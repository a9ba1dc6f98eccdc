#include "dashboard/SignalBars.h"

#include <QPainter>

namespace dashboard
{

namespace
{

const int barWidth = 6;
const int gap = 3;
const int barStep = 5; // what each bar is taller than the one before

} // namespace

SignalBars::SignalBars(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setStrength(0);
}

void SignalBars::setStrength(int strength)
{
    m_strength = qBound(0, strength, most);
    setAccessibleName(m_strength == 0 ? tr("No signal") : tr("Signal: %1 of %2 bars").arg(m_strength).arg(most));
    setToolTip(accessibleName());
    update();
}

QSize SignalBars::sizeHint() const
{
    return QSize(most * (barWidth + gap) - gap, most * barStep + 3);
}

/// Bars that are missing are drawn as outlines, so that no colour has to be told apart.
void SignalBars::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < most; ++i) {
        const int barHeight = (i + 1) * barStep;
        const int place = layoutDirection() == Qt::RightToLeft ? most - 1 - i : i;
        const QRectF bar(place * (barWidth + gap) + 0.5, height() - barHeight - 0.5, barWidth - 1, barHeight - 1);
        painter.setPen(QColor(0xc9, 0xdc, 0xec));
        painter.setBrush(i < m_strength ? QBrush(Qt::white) : QBrush(Qt::NoBrush));
        painter.drawRoundedRect(bar, 1.5, 1.5);
    }
}

} // namespace dashboard
