#include "registerlineedit.h"

#include "link/registerstore.h"
#include "registers/registermodel.h"

#include <QRegExp>
#include <QRegExpValidator>

namespace {

const QString RedStyle = QStringLiteral("QLineEdit { background-color: red; }");
const QString OrangeStyle = QStringLiteral("QLineEdit { background-color: orange; }");

QString hex(quint16 value)
{
    return QString::number(value, 16).toUpper();
}

} // namespace

RegisterLineEdit::RegisterLineEdit(int base, Field *field, QWidget *parent)
    : QLineEdit(parent), register_field(field), base(base)
{
    setAlignment(Qt::AlignCenter);
    showValue();
    setValidatorType();
    if (field)
        baseToolTip = toolTipFor(*field);
    setToolTip(baseToolTip);
    setEnabled(true);
    connect(this, &QLineEdit::textEdited, this, &RegisterLineEdit::updateRegister);
    connect(this, &QLineEdit::textChanged, this, &RegisterLineEdit::updateValidity);
}

QString RegisterLineEdit::toolTipFor(const Field &field)
{
    return QStringLiteral("<font color=black><p>Name : ") + field.name + QStringLiteral("<br>") +
           QStringLiteral("Value : 0x") + hex(field.value) + QStringLiteral("<br>") +
           QStringLiteral("Length : ") + QString::number(field.length) + QStringLiteral("<br>") +
           QStringLiteral("Min : 0x") + hex(field.min) + QStringLiteral("<br>") +
           QStringLiteral("Max : 0x") + hex(field.max) + QStringLiteral("<br>") +
           QStringLiteral("Description : ") + field.description + QStringLiteral("</font>");
}

int RegisterLineEdit::fieldLength() const
{
    return register_field ? qMin<int>(register_field->length, 16) : 0;
}

void RegisterLineEdit::showValue()
{
    if (!register_field) {
        setText(QString());
        return;
    }
    setText(QString::number(register_field->value, base).toUpper());
    if (base == 2)
        setText(QString::number(register_field->value, 2).rightJustified(fieldLength(), '0'));
}

void RegisterLineEdit::setField(int base, Field *field)
{
    this->base = base;
    register_field = field;
    setValidatorType();
    showValue();
    refreshMark();
}

int RegisterLineEdit::getValue()
{
    bool ok = false;
    const int value = text().toInt(&ok, base);
    return ok ? value : 0;
}

void RegisterLineEdit::setValidatorType()
{
    const int length = fieldLength();
    QString pattern;
    Qt::CaseSensitivity sensitivity = Qt::CaseSensitive;
    switch (base) {
    case 16:
        pattern = QStringLiteral("^[0-9A-F]{%1}").arg((length + 3) / 4);
        sensitivity = Qt::CaseInsensitive;
        break;
    case 10: {
        const quint32 largest = (quint32(1) << length) - 1;
        pattern = QStringLiteral("[0-9]{%1}").arg(QString::number(largest).size());
        break;
    }
    default:
        pattern = QStringLiteral("[0-1]{%1}").arg(length);
        break;
    }
    QValidator *old = const_cast<QValidator *>(validator());
    setValidator(new QRegExpValidator(QRegExp(pattern, sensitivity), this));
    delete old;
}

void RegisterLineEdit::updateRegister(QString text)
{
    Q_UNUSED(text)
    if (!register_field)
        return;
    register_field->value = quint16(getValue());
    emit registerUpdated(register_field);
}

void RegisterLineEdit::updateValidity()
{
    const int value = getValue();
    if (!register_field || (value <= register_field->max && value >= register_field->min)) {
        setProperty("valid", true);
        rangeStyle.clear();
    } else if (property("edit").toBool()) {
        setProperty("valid", false);
        rangeStyle = RedStyle;
    } else {
        setProperty("valid", true);
        rangeStyle = OrangeStyle;
    }
    refreshMark();
}

QString RegisterLineEdit::sendProblem()
{
    if (!register_field)
        return rowProblem;
    const int length = register_field->length;
    if (length < 1 || length > RegisterDataBits)
        return QStringLiteral("Its length of %1 bits is not between 1 and %2.")
            .arg(length)
            .arg(RegisterDataBits);
    const quint32 value = quint32(qMax(getValue(), 0));
    if (value >> length)
        return QStringLiteral("The value 0x%1 does not fit in its %2 bits.")
            .arg(QString::number(value, 16).toUpper())
            .arg(length);
    return rowProblem;
}

void RegisterLineEdit::setRowProblem(const QString &problem)
{
    rowProblem = problem;
    refreshMark();
}

void RegisterLineEdit::refreshMark()
{
    const QString problem = sendProblem();
    if (problem.isEmpty()) {
        setStyleSheet(rangeStyle);
        setToolTip(baseToolTip);
        return;
    }
    setStyleSheet(property("edit").toBool() ? RedStyle : OrangeStyle);
    setToolTip(baseToolTip + QStringLiteral("<p><b>Not sendable:</b> ") + problem.toHtmlEscaped() +
               QStringLiteral("</p>"));
}

void RegisterLineEdit::focusInEvent(QFocusEvent *event)
{
    QLineEdit::focusInEvent(event);
    emit registerFocusChanged(register_field);
}

void RegisterLineEdit::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
}
