#include "app/settingdialog.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QTimer>
#include <QtTest>

class TestSettingDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void question();
    void buttons_data();
    void buttons();

private:
    TestSettings settings;
};

void TestSettingDialog::init()
{
    settings.reset();
}

void TestSettingDialog::question()
{
    SettingDialog dialog;
    auto *label = dialog.findChild<QLabel *>();
    QVERIFY(label);
    QCOMPARE(label->text(), QStringLiteral("Wich setting do you want to load?"));
    QVERIFY(!dialog.parent());
}

void TestSettingDialog::buttons_data()
{
    QTest::addColumn<QString>("buttonText");
    QTest::addColumn<QString>("fileAnswer"); // "chosen" picks a prepared file, empty cancels
    QTest::addColumn<QString>("marker");     // "-" when the settings file is gone

    QTest::newRow("restore keeps the file") << "Restore Last Session"
                                            << ""
                                            << "old";
    QTest::newRow("load takes the chosen file") << "Load File"
                                                << "chosen"
                                                << "chosen";
    QTest::newRow("load cancelled keeps the file") << "Load File"
                                                   << ""
                                                   << "old";
    QTest::newRow("new session removes the file") << "Start a New Session"
                                                  << ""
                                                  << "-";
}

void TestSettingDialog::buttons()
{
    QFETCH(QString, buttonText);
    QFETCH(QString, fileAnswer);
    QFETCH(QString, marker);

    {
        QSettings session;
        session.setValue(QStringLiteral("marker"), QStringLiteral("old"));
        session.sync();
    }
    const QString chosen = settings.dir() + QStringLiteral("/chosen.ini");
    {
        QSettings file(chosen, QSettings::IniFormat);
        file.setValue(QStringLiteral("marker"), QStringLiteral("chosen"));
        file.sync();
    }

    SettingDialog dialog;
    QPushButton *button = nullptr;
    const auto buttons = dialog.findChildren<QPushButton *>();
    for (QPushButton *candidate : buttons) {
        if (candidate->text() == buttonText)
            button = candidate;
    }
    QVERIFY(button);

    ModalCloser *closer = nullptr;
    QTimer::singleShot(0, &dialog, [&] {
        closer = new ModalCloser(&dialog);
        closer->answerFileDialogs({fileAnswer.isEmpty() ? QString() : chosen});
        QTest::mouseClick(button, Qt::LeftButton);
    });
    QCOMPARE(dialog.exec(), 1);

    QSettings session;
    QCOMPARE(session.value(QStringLiteral("marker"), QStringLiteral("-")).toString(), marker);
}

QTEST_MAIN(TestSettingDialog)
#include "tst_settingdialog.moc"
