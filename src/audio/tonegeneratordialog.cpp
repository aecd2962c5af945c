#include "tonegeneratordialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {
const int MinFrequencyHz = 1;
const int MaxFrequencyHz = 300;
const int DefaultFrequencyHz = 100;
} // namespace

ToneGeneratorDialog::ToneGeneratorDialog(QWidget *parent) : QDialog(parent)
{
    frequencySweepEnabledCheckBox = new QCheckBox(tr("Frequency sweep"), this);
    frequencySweepEnabledCheckBox->setObjectName(QStringLiteral("frequencySweepCheckBox"));
    amplitudePanel = new QWidget(this);
    amplitudePanel->setObjectName(QStringLiteral("amplitudePanel"));
    frequencyPanel = new QWidget(amplitudePanel);
    frequencyPanel->setObjectName(QStringLiteral("frequencyPanel"));

    frequencySlider = new QSlider(Qt::Horizontal, frequencyPanel);
    frequencySlider->setObjectName(QStringLiteral("frequencySlider"));
    frequencySlider->setRange(MinFrequencyHz, MaxFrequencyHz);
    frequencySlider->setValue(DefaultFrequencyHz);
    frequencySpinBox = new QSpinBox(frequencyPanel);
    frequencySpinBox->setObjectName(QStringLiteral("frequencySpinBox"));
    frequencySpinBox->setRange(MinFrequencyHz, MaxFrequencyHz);
    frequencySpinBox->setValue(DefaultFrequencyHz);

    amplitudeSpinBox = new QDoubleSpinBox(amplitudePanel);
    amplitudeSpinBox->setObjectName(QStringLiteral("amplitudeSpinBox"));
    amplitudeSpinBox->setRange(0.0, 1.0);
    amplitudeSpinBox->setDecimals(2);
    amplitudeSpinBox->setSingleStep(0.1);
    amplitudeSpinBox->setValue(1.0);

    auto *dialogLayout = new QVBoxLayout(this);

    amplitudePanel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    auto *amplitudeLayout = new QGridLayout(amplitudePanel);
    amplitudeLayout->addWidget(frequencySweepEnabledCheckBox, 0, 1);
    amplitudeLayout->addWidget(frequencyPanel, 1, 0, 1, 2);
    amplitudeLayout->addWidget(new QLabel(tr("Amplitude"), amplitudePanel), 2, 0);
    amplitudeLayout->addWidget(amplitudeSpinBox, 2, 1);

    auto *frequencyLayout = new QGridLayout(frequencyPanel);
    frequencyLayout->addWidget(new QLabel(tr("Frequency (Hz)"), frequencyPanel), 0, 0, 2, 1);
    frequencyLayout->addWidget(frequencySlider, 0, 1);
    frequencyLayout->addWidget(frequencySpinBox, 1, 1);

    dialogLayout->addWidget(amplitudePanel);

    auto *buttonBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttonBox->setObjectName(QStringLiteral("buttonBox"));
    dialogLayout->addWidget(buttonBox);

    connect(buttonBox->button(QDialogButtonBox::Ok), SIGNAL(clicked()), this, SLOT(accept()));
    connect(buttonBox->button(QDialogButtonBox::Cancel), SIGNAL(clicked()), this, SLOT(reject()));
    connect(frequencySweepEnabledCheckBox, SIGNAL(toggled(bool)), this,
            SLOT(frequencySweepEnabled(bool)));
    connect(frequencySlider, SIGNAL(valueChanged(int)), frequencySpinBox, SLOT(setValue(int)));
    connect(frequencySpinBox, SIGNAL(valueChanged(int)), frequencySlider, SLOT(setValue(int)));

    frequencyPanel->setEnabled(true);
}

bool ToneGeneratorDialog::isFrequencySweepEnabled() const
{
    return frequencySweepEnabledCheckBox->isChecked();
}

double ToneGeneratorDialog::frequency() const
{
    return frequencySlider->value();
}

double ToneGeneratorDialog::amplitude() const
{
    return amplitudeSpinBox->value();
}

void ToneGeneratorDialog::frequencySweepEnabled(bool enabled)
{
    frequencyPanel->setEnabled(!enabled);
}
