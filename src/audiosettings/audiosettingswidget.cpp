#include "audiosettingswidget.h"

#include "audiosettingskeys.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSettings>
#include <QVBoxLayout>

namespace {

constexpr double RangeLimit = 95.0;
constexpr double Step = 0.5;
constexpr int Decimals = 2;
constexpr int FirstFieldRow = 2;
constexpr int ColumnsPerChannel = 4;

// Types by column within a channel: the grid shows Vmin before Vmax, while the
// keys number Vmax (2) before Vmin (3).
constexpr int TypeOfColumn[ColumnsPerChannel] = {0, 1, 3, 2};
const char *const ColumnTitles[ColumnsPerChannel] = {"Amplitude", "Offset", "Vmin", "Vmax"};

const char *const ChannelProperty = "channel";
const char *const SwitchProperty = "sw";
const char *const TypeProperty = "type";

} // namespace

AudioSettingsWidget::AudioSettingsWidget(const QString &group, QWidget *parent)
    : QWidget(parent), group(group)
{
    createUi();
    init();
}

void AudioSettingsWidget::createUi()
{
    auto *outer = new QHBoxLayout(this);
    auto *column = new QVBoxLayout;
    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    column->addLayout(grid);
    column->addStretch();
    outer->addLayout(column);
    outer->addStretch();

    const Qt::Alignment centre = Qt::AlignCenter;
    auto label = [this](const QString &text) {
        auto *l = new QLabel(text, this);
        l->setTextFormat(Qt::PlainText);
        return l;
    };
    grid->addWidget(label(QStringLiteral("SW1")), 0, 0, 2, 1, centre);
    grid->addWidget(label(QStringLiteral("Channel A")), 0, 1, 1, ColumnsPerChannel, centre);
    grid->addWidget(label(QStringLiteral("Channel B")), 0, 1 + ColumnsPerChannel, 1,
                    ColumnsPerChannel, centre);
    for (int channel = 0; channel < 2; ++channel) {
        for (int c = 0; c < ColumnsPerChannel; ++c)
            grid->addWidget(label(QLatin1String(ColumnTitles[c])), 1,
                            1 + channel * ColumnsPerChannel + c, centre);
    }
    grid->addWidget(label(QStringLiteral("OFF")), FirstFieldRow, 0, centre);
    grid->addWidget(label(QStringLiteral("ON")), FirstFieldRow + 1, 0, centre);

    for (int sw = 0; sw < 2; ++sw) {
        for (int channel = 0; channel < 2; ++channel) {
            for (int c = 0; c < ColumnsPerChannel; ++c) {
                auto *box = new QDoubleSpinBox(this);
                box->setRange(-RangeLimit, RangeLimit);
                box->setSingleStep(Step);
                box->setDecimals(Decimals);
                box->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
                box->setProperty(ChannelProperty, channel);
                box->setProperty(SwitchProperty, sw);
                box->setProperty(TypeProperty, TypeOfColumn[c]);
                box->setObjectName(keyOf(box));
                grid->addWidget(box, FirstFieldRow + sw, 1 + channel * ColumnsPerChannel + c,
                                centre);
                spinBoxes.append(box);
                connect(box, SIGNAL(valueChanged(double)), this, SLOT(updateSettings(double)));
            }
        }
    }
}

QString AudioSettingsWidget::keyOf(const QDoubleSpinBox *box) const
{
    return audioSettingKey(box->property(ChannelProperty).toInt(),
                           box->property(SwitchProperty).toInt(),
                           box->property(TypeProperty).toInt());
}

void AudioSettingsWidget::init()
{
    QSettings settings;
    if (!settings.childGroups().contains(group)) {
        settings.beginGroup(group);
        for (int sw = 0; sw < 2; ++sw) {
            for (int channel = 0; channel < 2; ++channel) {
                for (int type = 0; type < ColumnsPerChannel; ++type)
                    settings.setValue(audioSettingKey(channel, sw, type), 0.0);
            }
        }
        settings.endGroup();
        settings.sync();
    }
    // A value beyond the range shows at its limit; the field's change then writes
    // that limit back through updateSettings.
    settings.beginGroup(group);
    for (QDoubleSpinBox *box : qAsConst(spinBoxes))
        box->setValue(settings.value(keyOf(box)).toDouble());
    settings.endGroup();
}

void AudioSettingsWidget::updateSettings(double)
{
    auto *box = qobject_cast<QDoubleSpinBox *>(sender());
    if (!box)
        return;
    QSettings settings;
    settings.beginGroup(group);
    settings.setValue(keyOf(box), box->value());
    settings.endGroup();
    settings.sync();
    emit sigAudioSettingUpdated();
}
