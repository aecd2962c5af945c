#pragma once

#include <QDialog>

// Asks, once at the start of the process, which settings the session starts from.
class SettingDialog : public QDialog
{
    Q_OBJECT
public:
    SettingDialog();

private slots:
    void restoreFile();
    void loadFile();
    void newFile();

private:
    void createUi();
};
