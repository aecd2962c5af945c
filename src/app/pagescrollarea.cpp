#include "pagescrollarea.h"

PageScrollArea::PageScrollArea(QWidget *page, QWidget *parent) : QScrollArea(parent)
{
    setObjectName(page->objectName() + QStringLiteral("Scroll"));
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setWidget(page);
}

QSize PageScrollArea::sizeHint() const
{
    const int frame = 2 * frameWidth();
    const QSize page = widget() ? widget()->sizeHint() : QSize();
    return page.expandedTo(widget() ? widget()->minimumSizeHint() : QSize()) + QSize(frame, frame);
}
