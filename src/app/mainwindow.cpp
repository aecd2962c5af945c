#include "mainwindow.h"

MainWindow::MainWindow(PortEnumerator, QWidget *parent) : QMainWindow(parent) {}

MainWindow::~MainWindow() = default;
