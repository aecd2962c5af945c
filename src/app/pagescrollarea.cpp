#include "pagescrollarea.h"

#include <QStyle>

PageScrollArea::PageScrollArea(QWidget *page, QWidget *parent) : QScrollArea(parent)
{
    setObjectName(page->objectName() + QStringLiteral("Scroll"));
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setWidget(page);
}

// Room for a vertical scroll bar is kept, so that a window bounded in height by the
// screen scrolls down only, not across as well.
QSize PageScrollArea::sizeHint() const
{
    const int frame = 2 * frameWidth();
    const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, this);
    const QSize page = widget() ? widget()->sizeHint() : QSize();
    return page.expandedTo(widget() ? widget()->minimumSizeHint() : QSize()) +
           QSize(frame + bar, frame);
}
