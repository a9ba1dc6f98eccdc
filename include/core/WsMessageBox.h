#ifndef WSMESSAGEBOX_H
#define WSMESSAGEBOX_H

#include <QMessageBox>

/// The host's message box, made to stand inside an ExtendDialog as its content.
class WsMessageBox : public QMessageBox
{
    Q_OBJECT

public:
    explicit WsMessageBox(QWidget *parent);
    virtual ~WsMessageBox();

signals:
    /// The box now needs `size`; connect it to ExtendDialog::changeSize(QSize).
    void changeSize(QSize size);

protected:
    virtual void resizeEvent(QResizeEvent *event);

private:
    Q_DISABLE_COPY(WsMessageBox)
};

#endif // WSMESSAGEBOX_H
