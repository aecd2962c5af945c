#include "sensingwidget.h"

#include "sensingchannel.h"

#include <QHBoxLayout>

SensingWidget::SensingWidget(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("sensingWidget"));
    auto *layout = new QHBoxLayout;
    for (int channel = 0; channel < 2; ++channel) {
        auto *panel = new SensingChannel(channel);
        channels.append(panel);
        layout->addWidget(panel);
        connect(panel, &SensingChannel::sigSend, this, &SensingWidget::sigSend);
        connect(panel, &SensingChannel::someValueChanged, this, &SensingWidget::sigValueChanged);
        connect(panel, &SensingChannel::someValueChanged, this, &SensingWidget::updateOtherChannel);
    }
    layout->addStretch();
    setLayout(layout);
}

void SensingWidget::send()
{
    for (SensingChannel *panel : qAsConst(channels))
        panel->send();
}

// After a read from the kit each panel shows the custom entry its channel's
// replies have just filled, whatever the user had selected.
void SensingWidget::updateUi()
{
    for (SensingChannel *panel : qAsConst(channels))
        panel->updateFields(panel->channelNumber());
}

// A panel that shows the entry just edited in another one reloads it; its fields
// then equal the stored values, so it raises no change of its own.
void SensingWidget::updateOtherChannel()
{
    auto *source = qobject_cast<SensingChannel *>(sender());
    if (!source)
        return;
    for (SensingChannel *panel : qAsConst(channels)) {
        if (panel != source && panel->currentIndex() == source->currentIndex())
            panel->updateFields(-1);
    }
}
