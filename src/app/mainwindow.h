#pragma once

#include "link/portenumerator.h"

#include <QMainWindow>

// The top-level window and the owner of everything a pass of the program runs on.
class MainWindow : public QMainWindow
{
public:
    explicit MainWindow(PortEnumerator enumerate = systemPorts, QWidget *parent = nullptr);
    ~MainWindow() override;
};
