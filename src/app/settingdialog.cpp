#include "settingdialog.h"

#include "kit/settingsfile.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

SettingDialog::SettingDialog() : QDialog(nullptr)
{
    createUi();
}

void SettingDialog::createUi()
{
    auto *layout = new QVBoxLayout(this);
    auto *question = new QLabel(QStringLiteral("Wich setting do you want to load?"), this);
    question->setObjectName(QStringLiteral("questionLabel"));
    layout->addWidget(question);

    auto *buttons = new QHBoxLayout;
    auto *restoreButton = new QPushButton(QStringLiteral("&Restore Last Session"), this);
    restoreButton->setObjectName(QStringLiteral("restoreButton"));
    auto *loadButton = new QPushButton(QStringLiteral("&Load File"), this);
    loadButton->setObjectName(QStringLiteral("loadButton"));
    auto *newButton = new QPushButton(QStringLiteral("Start a &New Session"), this);
    newButton->setObjectName(QStringLiteral("newButton"));
    buttons->addWidget(restoreButton);
    buttons->addWidget(loadButton);
    buttons->addWidget(newButton);
    layout->addLayout(buttons);

    connect(restoreButton, &QPushButton::released, this, &SettingDialog::restoreFile);
    connect(loadButton, &QPushButton::released, this, &SettingDialog::loadFile);
    connect(newButton, &QPushButton::released, this, &SettingDialog::newFile);
}

void SettingDialog::restoreFile()
{
    done(1);
}

void SettingDialog::loadFile()
{
    const QString fileName = QFileDialog::getOpenFileName(
        this, QStringLiteral("Open Settings"), QString(), QStringLiteral("INI Files (*.ini)"));
    QString error;
    if (!fileName.isEmpty() && !loadSettingsFrom(fileName, &error))
        QMessageBox::warning(this, QStringLiteral("Open Settings"),
                             QStringLiteral("The settings were not loaded from %1:\n%2\n"
                                            "The last session is kept.")
                                 .arg(QDir::toNativeSeparators(fileName), error));
    done(1);
}

void SettingDialog::newFile()
{
    removeSettingsFile();
    done(1);
}
