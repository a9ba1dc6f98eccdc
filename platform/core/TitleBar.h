#ifndef CORE_TITLEBAR_H
#define CORE_TITLEBAR_H

#include <QFrame>
#include <QtCore/QPoint>
#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QLabel;
class QPushButton;
QT_END_NAMESPACE

namespace core
{

/// The title bar of the host's frame: a title, a close button, and a handle that moves the window.
///
/// It only shows and moves; what the close button does is its owner's to connect.
class TitleBar : public QFrame
{
    Q_OBJECT

public:
    /// \param height in pixels, the line below the bar included
    TitleBar(QWidget *parent, int height);

    /// Plain text; too long a title is cut at its end with dots, and the tool tip then shows all of it.
    void setTitle(const QString &title);

    /// The look of an active or an inactive window.
    void setActive(bool active);

    /// Colour of the bar, which the frame's border takes too.
    static QColor colour(bool active);

    /// The bar owns it.
    QPushButton *closeButton() const { return m_closeButton; }

protected:
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void elide();
    void drag(const QPoint &pointer);

    QLabel *m_label;
    QPushButton *m_closeButton;
    QString m_title;
    QPoint m_pressed; ///< where the pointer went down, on the screen
    QPoint m_grab;    ///< from the window's corner to there
    bool m_held;      ///< the left button is down on the bar
    bool m_dragged;   ///< and has moved far enough to mean it
};

} // namespace core

#endif // CORE_TITLEBAR_H
