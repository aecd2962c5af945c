#pragma once

#include <QScrollArea>

// Holds one tab page and scrolls it when the window is smaller than the page, so
// that every control stays reachable on a small screen. It asks for the page's
// whole size, so the window still opens at its natural size where the screen allows.
class PageScrollArea : public QScrollArea
{
    Q_OBJECT
public:
    explicit PageScrollArea(QWidget *page, QWidget *parent = nullptr);

    QSize sizeHint() const override;
};
