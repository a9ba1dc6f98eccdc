#ifndef DASHBOARD_SIGNALBARS_H
#define DASHBOARD_SIGNALBARS_H

#include <QWidget>

namespace dashboard
{

/// Strength of the network's signal as bars, the way telephones show it.
class SignalBars : public QWidget
{
    Q_OBJECT

public:
    static constexpr int most = 5;

    explicit SignalBars(QWidget *parent = nullptr);

    /// 0, for no network, to `most`.
    int strength() const { return m_strength; }
    void setStrength(int strength);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_strength = 0;
};

} // namespace dashboard

#endif // DASHBOARD_SIGNALBARS_H
