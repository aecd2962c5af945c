#include "sensingchannel.h"

#include "sensingparameters.h"
#include "sensingsettings.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSettings>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

// A stored real counts as changed only beyond what two decimals can show.
constexpr double RealTolerance = 0.0001;
constexpr int HeadingGapPx = 8;

QLabel *richLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::RichText);
    return label;
}

} // namespace

SensingChannel::SensingChannel(int channel, QWidget *parent) : QWidget(parent), channel(channel)
{
    setObjectName(QStringLiteral("sensingChannel%1").arg(channel));
    createUi();
    selector->setCurrentIndex(channel);
    updateFields(selector->currentIndex());
    // Connected only now, so that the first display writes nothing into the settings.
    connectUi();
}

int SensingChannel::currentIndex() const
{
    return selector->currentIndex();
}

void SensingChannel::createUi()
{
    auto *outer = new QHBoxLayout(this);
    auto *column = new QVBoxLayout;
    auto *form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    // Twenty-six rows: kept tight so that the page fits a laptop screen, with the
    // headings set apart instead.
    form->setVerticalSpacing(2);
    column->addLayout(form);
    column->addStretch();
    outer->addLayout(column);
    outer->addStretch();

    selector = new QComboBox(this);
    selector->setObjectName(QStringLiteral("configSelector"));
    selector->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    {
        QSettings settings;
        const int size = qMin(settings.beginReadArray(SensingArrayKey), MaxSensingEntries);
        for (int i = 0; i < size; ++i) {
            settings.setArrayIndex(i);
            selector->addItem(settings.value(SensingNameKey).toString());
        }
        settings.endArray();
    }
    form->addRow(QStringLiteral("Config: "), selector);

    auto *channelName = new QLabel(channel == 0 ? QStringLiteral("A") : QStringLiteral("B"), this);
    channelName->setObjectName(QStringLiteral("channelName"));
    form->addRow(richLabel(QStringLiteral("<b>Channel</b>"), this), channelName);

    const QVector<SensingParameter> &parameters = sensingParameters();
    fields.resize(parameters.size());
    QString heading;
    for (const SensingParameter *parameter : sensingParametersInPanelOrder()) {
        if (parameter->heading != heading) {
            heading = parameter->heading;
            addHeading(form, heading);
        }
        QAbstractSpinBox *field = nullptr;
        if (parameter->kind == SensingKind::Real) {
            auto *box = new QDoubleSpinBox(this);
            box->setDecimals(SensingRealDecimals);
            box->setRange(parameter->minimum, parameter->maximum);
            box->setSingleStep(parameter->step);
            field = box;
        } else {
            auto *box = new QSpinBox(this);
            box->setRange(int(parameter->minimum), int(parameter->maximum));
            box->setSingleStep(int(parameter->step));
            field = box;
        }
        field->setObjectName(parameter->key);
        field->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        auto *label = new QLabel(parameter->label, this);
        label->setTextFormat(Qt::PlainText);
        form->addRow(label, field);
        fields[int(parameter - parameters.constData())] = field;
    }
    // One width for all fields, so that the column reads as one.
    int width = 0;
    for (QAbstractSpinBox *field : qAsConst(fields))
        width = qMax(width, field->sizeHint().width());
    for (QAbstractSpinBox *field : qAsConst(fields))
        field->setMinimumWidth(width);
}

void SensingChannel::addHeading(QFormLayout *form, const QString &text)
{
    auto *heading = richLabel(QStringLiteral("<b>%1</b>").arg(text), this);
    heading->setContentsMargins(0, HeadingGapPx, 0, 0);
    form->addRow(heading);
}

void SensingChannel::connectUi()
{
    for (QAbstractSpinBox *field : qAsConst(fields)) {
        if (auto *real = qobject_cast<QDoubleSpinBox *>(field))
            connect(real, &QDoubleSpinBox::textChanged, this, &SensingChannel::updateQSettings);
        else if (auto *count = qobject_cast<QSpinBox *>(field))
            connect(count, &QSpinBox::textChanged, this, &SensingChannel::updateQSettings);
    }
    connect(selector, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &SensingChannel::updateFields);
}

void SensingChannel::updateFields(int setting_index)
{
    QSettings settings;
    const int size = qMin(settings.beginReadArray(SensingArrayKey), MaxSensingEntries);
    const int target = setting_index < 0 ? selector->currentIndex() : setting_index;
    const QVector<SensingParameter> &parameters = sensingParameters();
    for (int i = 0; i < size; ++i) {
        settings.setArrayIndex(i);
        if (i != target || target >= selector->count())
            continue;
        // A change of selection re-enters here through the selector's signal and
        // does the same work once more; the result is the same.
        selector->setCurrentIndex(target);
        for (int f = 0; f < parameters.size(); ++f)
            showValue(f, settings.value(parameters.at(f).key));
        const bool editable = settings.value(SensingEditableKey).toBool();
        for (QAbstractSpinBox *field : qAsConst(fields))
            field->setEnabled(editable);
    }
    settings.endArray();
    settings.sync();
}

// A stored value beyond the field's range shows at the range's limit.
void SensingChannel::showValue(int field, const QVariant &stored)
{
    if (auto *real = qobject_cast<QDoubleSpinBox *>(fields.at(field)))
        real->setValue(stored.toDouble());
    else if (auto *count = qobject_cast<QSpinBox *>(fields.at(field)))
        count->setValue(stored.toInt());
}

bool SensingChannel::differs(int field, const QVariant &stored) const
{
    if (auto *real = qobject_cast<QDoubleSpinBox *>(fields.at(field)))
        return qAbs(stored.toDouble() - real->value()) > RealTolerance;
    if (auto *count = qobject_cast<QSpinBox *>(fields.at(field)))
        return stored.toInt() != count->value();
    return false;
}

// The value as the field shows it, but always with a decimal point, so that the
// stored text reads back the same whatever the system's locale.
QString SensingChannel::fieldText(int field) const
{
    if (auto *real = qobject_cast<QDoubleSpinBox *>(fields.at(field)))
        return QString::number(real->value(), 'f', real->decimals());
    if (auto *count = qobject_cast<QSpinBox *>(fields.at(field)))
        return QString::number(count->value());
    return QString();
}

void SensingChannel::updateQSettings(QString)
{
    const int field = fields.indexOf(qobject_cast<QAbstractSpinBox *>(sender()));
    if (field < 0)
        return;
    const QString &key = sensingParameters().at(field).key;
    const int target = selector->currentIndex();
    // Loading an entry fires this for every field; only a value that differs from
    // the stored one is an edit, which keeps loads silent and panels from looping.
    {
        QSettings settings;
        settings.beginReadArray(SensingArrayKey);
        settings.setArrayIndex(qMax(target, 0));
        const bool changed = differs(field, settings.value(key));
        settings.endArray();
        if (!changed)
            return;
    }
    if (writeSensingEntry(target, [&](QSettings &entry) { entry.setValue(key, fieldText(field)); }))
        emit someValueChanged();
}

void SensingChannel::send()
{
    QSettings settings;
    settings.beginReadArray(SensingArrayKey);
    settings.setArrayIndex(selector->currentIndex());
    // What goes out is what the panel shows: a stored value that the field shows
    // otherwise (beyond its range, or with more decimals) is sent as shown.
    const QVector<SensingParameter> &parameters = sensingParameters();
    QStringList t;
    for (const SensingParameter *parameter : sensingParametersInWireOrder()) {
        const QVariant stored = settings.value(parameter->key);
        const int field = int(parameter - parameters.constData());
        t.append(differs(field, stored) ? fieldText(field) : stored.toString());
    }
    settings.endArray();
    emit sigSend(QString::number(channel, 10), t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8],
                 t[9], t[10], t[11], t[12], t[13], t[14], t[15], t[16], t[17], t[18]);
}
