#include "registerwidget.h"

#include "link/linkaction.h"
#include "link/registerstore.h"
#include "registers/registerkeys.h"
#include "registers/registerlineedit.h"
#include "registers/registermodel.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QThread>
#include <QVBoxLayout>

namespace {

constexpr int AddressBits = 4;
const char *const EditProperty = "edit";
const char *const ValidProperty = "valid";
const char *const IdProperty = "id";

QString addressText(quint16 address, int base)
{
    if (base == 2)
        return QString::number(address, 2).rightJustified(AddressBits, '0');
    return QString::number(address, base).toUpper();
}

QString hex(quint16 value)
{
    return QStringLiteral("0x") + QString::number(value, 16).toUpper();
}

} // namespace

RegisterWidget::RegisterWidget(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("registerWidget"));
    setMaximumWidth(700);
    show_rsvd = QSettings().value(SHOWRSVD_KEY, false).toBool();
    buildUi();
}

void RegisterWidget::buildUi()
{
    auto *mainLayout = new QHBoxLayout(this);
    auto *left = new QVBoxLayout;
    mainLayout->addLayout(left);
    // The panel keeps one width whatever the field in focus, so that a longer
    // description wraps within it rather than pushing the grid aside.
    auto *panel = new QWidget(this);
    panel->setObjectName(QStringLiteral("detailPanel"));
    panel->setFixedWidth(fontMetrics().averageCharWidth() * PanelWidthChars);
    auto *right = new QVBoxLayout(panel);
    right->setContentsMargins(0, 0, 0, 0);
    mainLayout->addWidget(panel);

    auto *top = new QHBoxLayout;
    channelBox = new QComboBox(this);
    channelBox->setObjectName(QStringLiteral("channelComboBox"));
    channelBox->addItems({QStringLiteral("A"), QStringLiteral("B")});
    displayTypeBox = new QComboBox(this);
    displayTypeBox->setObjectName(QStringLiteral("displayTypeComboBox"));
    displayTypeBox->addItems(
        {QStringLiteral("Binary"), QStringLiteral("Hexadecimal"), QStringLiteral("Decimal")});
    top->addWidget(new QLabel(QStringLiteral("Channel: "), this));
    top->addWidget(channelBox);
    top->addWidget(new QLabel(QStringLiteral("Display Type: "), this));
    top->addWidget(displayTypeBox);
    top->addStretch();
    left->addLayout(top);

    grid = new QGridLayout;
    grid->setHorizontalSpacing(2);
    // Only the data columns stretch, all alike, so one column stays one bit and the
    // fields of all rows line up; the minimum keeps a one-bit editor wide enough for
    // its digit when the panel beside the grid fills with a long description.
    const int bitWidth = fontMetrics().horizontalAdvance(QLatin1Char('0')) + 9;
    for (int bit = 0; bit < RegisterDataBits; ++bit) {
        grid->setColumnStretch(FirstFieldColumn + bit, 1);
        grid->setColumnMinimumWidth(FirstFieldColumn + bit, bitWidth);
    }
    left->addLayout(grid);
    left->addStretch();

    grid->addWidget(new QLabel(QStringLiteral("MSB"), this), 0, FirstFieldColumn, 1, 8,
                    Qt::AlignLeft);
    grid->addWidget(new QLabel(QStringLiteral("LSB"), this), 0, 16, 1, 4, Qt::AlignRight);

    const QList<Register *> *registers =
        !channels.isEmpty() && channels.first() ? channels.first()->registers : nullptr;
    for (int i = 0; registers && i < registers->size(); ++i) {
        Register *reg = registers->at(i);
        if (reg->hidden && !show_rsvd)
            continue;
        const int rowIndex = rows.size();
        addRegisterRow(rowIndex + 1, rowIndex, reg->address);

        auto *name = new QLabel(reg->name, this);
        name->setObjectName(QStringLiteral("registerName_%1").arg(rowIndex));
        grid->addWidget(name, rowIndex + 1, 0, 1, 4);

        int column = 0;
        for (int j = 0; j < reg->fields.size(); ++j) {
            Field *field = &reg->fields[j];
            auto *editor = new RegisterLineEdit(getBase(), field, this);
            editor->setObjectName(QStringLiteral("field_%1_%2").arg(rowIndex).arg(j));
            editor->setProperty(EditProperty, reg->editable);
            editor->setMinimumWidth(0);
            editor->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
            connectEditor(editor);
            rows[rowIndex].append(editor);
            // A map edited by hand may not add up to twelve bits: each editor still
            // keeps columns of its own, inside the data columns, so that none lies
            // over a neighbour or the Send button.
            const int fieldsAfter = int(reg->fields.size()) - j - 1;
            const int span =
                qBound(1, int(field->length), qMax(1, RegisterDataBits - column - fieldsAfter));
            grid->addWidget(editor, rowIndex + 1,
                            FirstFieldColumn + qMin(column, RegisterDataBits - 1), 1, span);
            column += span;
        }
        markRow(rowIndex);

        if (reg->editable) {
            auto *send = new QPushButton(QStringLiteral("Send"), this);
            send->setObjectName(QStringLiteral("sendButton_%1").arg(rowIndex));
            send->setProperty(IdProperty, rowIndex);
            connect(send, &QPushButton::released, this, &RegisterWidget::setRegisterToSend);
            grid->addWidget(send, rowIndex + 1, SendColumn, 1, 4);
        }
    }

    auto *form = new QFormLayout;
    const auto addPanelRow = [this, form](const QString &label, const QString &name) {
        auto *value = new QLabel(this);
        value->setObjectName(name);
        form->addRow(new QLabel(label, this), value);
        return value;
    };
    nameValue = addPanelRow(QStringLiteral("Name:"), QStringLiteral("panelName"));
    nameValue->setMinimumWidth(100);
    valueValue = addPanelRow(QStringLiteral("Value:"), QStringLiteral("panelValue"));
    lengthValue = addPanelRow(QStringLiteral("Length:"), QStringLiteral("panelLength"));
    minValue = addPanelRow(QStringLiteral("Min:"), QStringLiteral("panelMin"));
    maxValue = addPanelRow(QStringLiteral("Max:"), QStringLiteral("panelMax"));
    form->addRow(new QLabel(QStringLiteral("Description:"), this));
    descriptionValue = new QLabel(this);
    descriptionValue->setObjectName(QStringLiteral("panelDescription"));
    descriptionValue->setWordWrap(true);
    form->addRow(descriptionValue);
    right->addLayout(form);
    right->addStretch();

    connect(channelBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &RegisterWidget::updateFields);
    connect(displayTypeBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &RegisterWidget::updateFields);

    setEnabled(false);
}

void RegisterWidget::addRegisterRow(int gridRow, int rowIndex, quint16 address)
{
    auto *addressEditor = new QLineEdit(addressText(address, 2), this);
    addressEditor->setObjectName(QStringLiteral("registerAddress_%1").arg(rowIndex));
    addressEditor->setToolTip(QStringLiteral("ADDRESS"));
    addressEditor->setProperty(EditProperty, false);
    addressEditor->setEnabled(false);
    addressEditor->setAlignment(Qt::AlignCenter);
    addressEditor->setMinimumWidth(
        addressEditor->fontMetrics().horizontalAdvance(QString(AddressBits, '0')) + 12);
    addressEditor->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    grid->addWidget(addressEditor, gridRow, 4, 1, AddressBits);
    rows.append({addressEditor});
    rowAddresses.append(address);
}

void RegisterWidget::connectEditor(RegisterLineEdit *editor)
{
    connect(editor, &RegisterLineEdit::registerFocusChanged, this,
            &RegisterWidget::updateRightPanel);
    connect(editor, &RegisterLineEdit::registerUpdated, this, &RegisterWidget::sigRegisterUpdated);
    connect(editor, &RegisterLineEdit::registerUpdated, this, &RegisterWidget::updateRightPanel);
}

int RegisterWidget::getBase()
{
    const QString type = displayTypeBox ? displayTypeBox->currentText() : QString();
    if (type == QLatin1String("Hexadecimal"))
        return 16;
    if (type == QLatin1String("Decimal"))
        return 10;
    return 2;
}

void RegisterWidget::updateFields(int index)
{
    Q_UNUSED(index)
    const int channel = channelBox->currentIndex();
    const int base = getBase();
    for (int i = 0; i < rows.size(); ++i) {
        const QList<QLineEdit *> &row = rows.at(i);
        row.first()->setText(addressText(rowAddresses.at(i), base));
        // Rows belong to channel A's registers; the other channel's register of the
        // same address fills them, as far as it has fields for them.
        Register *reg = findRegister(quint16(channel), rowAddresses.at(i));
        for (int j = 1; j < row.size(); ++j) {
            auto *editor = static_cast<RegisterLineEdit *>(row.at(j));
            Field *field = reg && j - 1 < reg->fields.size() ? &reg->fields[j - 1] : nullptr;
            editor->setField(base, field);
            if (!field)
                editor->setEnabled(false);
            else if (editor->property(EditProperty).toBool())
                editor->setEnabled(true);
        }
        markRow(i);
    }
}

QString RegisterWidget::rowProblem(int index) const
{
    const int channel = channelBox->currentIndex();
    const QString channelName = channelBox->currentText();
    const Register *reg = findRegister(quint16(channel), rowAddresses.at(index));
    if (!rowIsComplete(index))
        return QStringLiteral("Channel %1 has %2 at address %3: this register is not sent "
                              "on that channel.")
            .arg(channelName, reg ? QStringLiteral("other fields") : QStringLiteral("no register"))
            .arg(rowAddresses.at(index));
    int bits = 0;
    for (const Field &field : reg->fields)
        bits += field.length;
    if (bits > RegisterDataBits)
        return QStringLiteral("Its fields take %1 bits, more than the %2 of a register.")
            .arg(bits)
            .arg(RegisterDataBits);
    return QString();
}

void RegisterWidget::markRow(int index)
{
    const QString problem = rowProblem(index);
    const QList<QLineEdit *> &row = rows.at(index);
    for (int j = 1; j < row.size(); ++j)
        static_cast<RegisterLineEdit *>(row.at(j))->setRowProblem(problem);
}

void RegisterWidget::updateRightPanel(const Field *new_field)
{
    if (!new_field)
        return;
    nameValue->setText(new_field->name);
    valueValue->setText(hex(new_field->value));
    lengthValue->setText(QString::number(new_field->length));
    minValue->setText(hex(new_field->min));
    maxValue->setText(hex(new_field->max));
    descriptionValue->setText(new_field->description);
}

bool RegisterWidget::rowIsComplete(int index) const
{
    const Register *reg = findRegister(quint16(channelBox->currentIndex()), rowAddresses.at(index));
    const QList<QLineEdit *> &row = rows.at(index);
    if (!reg || reg->fields.size() != row.size() - 1)
        return false;
    for (int j = 1; j < row.size(); ++j) {
        if (!static_cast<RegisterLineEdit *>(row.at(j))->field())
            return false;
    }
    return true;
}

bool RegisterWidget::rowFits(const QList<QLineEdit *> &row) const
{
    QList<FieldBits> bits;
    for (int j = 1; j < row.size(); ++j) {
        auto *editor = static_cast<RegisterLineEdit *>(row.at(j));
        const Field *field = editor->field();
        if (!field)
            return false;
        const int value = editor->getValue();
        if (value < 0)
            return false;
        bits.append({quint32(value), field->length});
    }
    return fieldsFit(bits);
}

void RegisterWidget::setRegisterToSend()
{
    const LinkAction action;
    const QVariant id = sender() ? sender()->property(IdProperty) : QVariant();
    if (!id.isValid())
        return;
    const int index = id.toInt();
    if (index < 0 || index >= rows.size())
        return;
    const QList<QLineEdit *> &row = rows.at(index);
    // A register the selected channel does not have cannot be written from it.
    if (!rowIsComplete(index))
        return;
    if (!rowFits(row)) {
        showSendFail();
        return;
    }
    const int address = row.first()->text().toInt(nullptr, getBase());
    QList<FieldBits> bits;
    for (int j = 1; j < row.size(); ++j) {
        auto *editor = static_cast<RegisterLineEdit *>(row.at(j));
        bits.append({quint32(editor->getValue()), editor->field()->length});
    }
    emit sigSendRegisterVoid();
    emit sigSendRegister(channelBox->currentIndex(), address, int(fieldsToData(bits)));
}

void RegisterWidget::readAll()
{
    emit sigReadRegisters();
    updateFields(channelBox->currentIndex());
}

bool RegisterWidget::channelReadyToSend()
{
    for (int index = 0; index < rows.size(); ++index) {
        const QList<QLineEdit *> &row = rows.at(index);
        bool editable = false;
        for (QLineEdit *element : row) {
            editable = editable || element->property(EditProperty).toBool();
            const QVariant valid = element->property(ValidProperty);
            if (!valid.isValid())
                continue;
            if (element->property(EditProperty).toBool() && !valid.toBool())
                return false;
        }
        // An entry wider than its field would spill into its neighbours when packed.
        if (editable && rowIsComplete(index) && !rowFits(row))
            return false;
    }
    return true;
}

void RegisterWidget::showSendFail()
{
    QMessageBox box(QMessageBox::Warning, QString(), SendFailText, QMessageBox::Ok, this);
    box.exec();
}

bool RegisterWidget::readyToSend()
{
    // A channel with a red entry stays selected, so that the user sees it.
    const int remembered = channelBox->currentIndex();
    for (int channel = 0; channel < 2; ++channel) {
        channelBox->setCurrentIndex(channel);
        if (!channelReadyToSend())
            return false;
    }
    channelBox->setCurrentIndex(remembered);
    return true;
}

bool RegisterWidget::sendAll()
{
    if (!readyToSend()) {
        showSendFail();
        return false;
    }
    const int remembered = channelBox->currentIndex();

    bool whole = true;
    QStringList skipped; // per channel, the rows its map cannot fill
    for (int channel = 0; channel < 2; ++channel) {
        channelBox->setCurrentIndex(channel);
        QStringList names;
        for (int gridRow = 1; gridRow <= rows.size(); ++gridRow) {
            QLayoutItem *item = grid->itemAtPosition(gridRow, SendColumn);
            auto *send = qobject_cast<QPushButton *>(item ? item->widget() : nullptr);
            if (!send)
                continue;
            if (!rowIsComplete(gridRow - 1)) {
                const Register *reg = findRegister(0, rowAddresses.at(gridRow - 1));
                names << QStringLiteral("%1 (address %2)")
                             .arg(reg ? reg->name : QString())
                             .arg(rowAddresses.at(gridRow - 1));
                continue;
            }
            whole = whole && send->isEnabled();
            send->click();
            QThread::msleep(1);
        }
        if (!names.isEmpty())
            skipped << QStringLiteral("Channel %1: %2")
                           .arg(channelBox->currentText(), names.join(QStringLiteral(", ")));
    }
    channelBox->setCurrentIndex(remembered);
    if (!skipped.isEmpty()) {
        QMessageBox box(QMessageBox::Warning, QString(),
                        QStringLiteral("These registers were not sent: their channel's map "
                                       "lacks them or some of their fields.\n") +
                            skipped.join(QLatin1Char('\n')),
                        QMessageBox::Ok, this);
        box.exec();
        whole = false;
    }
    return whole;
}

void RegisterWidget::setEnabled(bool enabled)
{
    for (QPushButton *button : findChildren<QPushButton *>())
        button->setEnabled(enabled);
    for (QWidget *child : findChildren<QWidget *>()) {
        const QVariant edit = child->property(EditProperty);
        if (edit.isValid() && !edit.toBool())
            child->setEnabled(false);
    }
    for (RegisterLineEdit *editor : findChildren<RegisterLineEdit *>()) {
        if (!editor->field())
            editor->setEnabled(false);
    }
}
