#ifndef EXTENDDIALOG_H
#define EXTENDDIALOG_H

#include <QDialog>

class ExtendDialogPrivate;

/// A dialog in the host's own frame: a title bar with the title and a close button, and the content below it.
///
/// The close button is the frame's default button: Return that nothing else uses asks the frame to close. Escape
/// rejects, as in any dialog.
class ExtendDialog : public QDialog
{
    Q_OBJECT

public:
    /// \param widgetType the host's number for the look of the frame: 1 a window, 4 a message
    ExtendDialog(QWidget *parent, Qt::WindowFlags flags, int widgetType);
    virtual ~ExtendDialog();

    /// Puts `widget` below the title bar, in place of the content that was there. The frame becomes its parent.
    void AddMainWidget(QWidget *widget);

    /// Sets the title, which is shown as plain text.
    void setWindowTitle(const QString &title);

    /// Sets the window flags and keeps the frame a dialog window also when only hints are given, where Qt's own
    /// would turn it into a child widget.
    void setWindowFlags(Qt::WindowFlags flags);

public slots:
    /// The content wants `size`: the frame takes the size that holds it below the title bar.
    void changeSize(QSize size);

private:
    Q_DISABLE_COPY(ExtendDialog)
    ExtendDialogPrivate *d;
};

#endif // EXTENDDIALOG_H
