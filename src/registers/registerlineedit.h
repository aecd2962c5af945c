#pragma once

#include <QLineEdit>

struct Field;

// The editor of one register field, in base 2, 10 or 16. It writes what the user
// types straight into the bound field of the store and marks out-of-range entries:
// red where the user must fix them before a send-all, orange for a read-only value
// beyond the map's range. Programmatic changes of text write nothing.
//
// Dynamic properties: "edit" (set by the owner: the register is writable) and
// "valid" (false for a red entry; absent until the text first changes).
class RegisterLineEdit : public QLineEdit
{
    Q_OBJECT
public:
    RegisterLineEdit(int base, Field *field, QWidget *parent = nullptr);

    Field *field() const { return register_field; }
    int numberBase() const { return base; }
    // The width the editor works with: the field's length, at most 16 bits.
    int fieldLength() const;

    static QString toolTipFor(const Field &field);

    // Why the register cannot be sent as the editor shows it, or empty: a value or a
    // length that does not fit, or the problem the owner found with the whole row.
    QString sendProblem();
    // The owner's finding on the editor's row (empty when the row is fine); the
    // editor marks itself with it and names it in its tool tip.
    void setRowProblem(const QString &problem);

signals:
    void registerFocusChanged(const Field *register_field);
    void registerUpdated(const Field *register_field);

public slots:
    // Binds the editor to another field (null leaves it empty) and shows its value.
    void setField(int base, Field *field);
    // The text as an integer in the editor's base; 0 when it does not parse.
    int getValue();

protected:
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private slots:
    void updateRegister(QString text);
    void setValidatorType();
    void updateValidity();

private:
    void showValue();
    // Red (orange when read-only) with the reason in the tool tip while the entry
    // cannot be sent; otherwise the colour of the range check.
    void refreshMark();

    Field *register_field = nullptr;
    int base = 2;
    QString baseToolTip;
    QString rangeStyle;
    QString rowProblem;
};
