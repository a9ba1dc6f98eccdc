#ifndef EXTENDLINEEDIT_H
#define EXTENDLINEEDIT_H

#include <QLineEdit>

/// The host's one-line text field.
class ExtendLineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit ExtendLineEdit(QWidget *parent);
    virtual ~ExtendLineEdit();

private:
    Q_DISABLE_COPY(ExtendLineEdit)
};

#endif // EXTENDLINEEDIT_H
