#include "audio/tonegeneratordialog.h"
#include "support/datarow.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>

namespace {

// Where the rendered widgets are written, for a person to look at.
QString screenshotPath(const QString &name)
{
    QDir dir(QCoreApplication::applicationDirPath());
    dir.mkpath(QStringLiteral("screenshots"));
    return dir.filePath(QStringLiteral("screenshots/") + name);
}

} // namespace

// The tone dialog, the waveform view and the spectrograph, judged by what they
// draw and do.
class TestAudioViews : public QObject
{
    Q_OBJECT

private slots:
    void toneDialogStartsAtItsDefaults()
    {
        ToneGeneratorDialog dialog;
        auto *sweep = dialog.findChild<QCheckBox *>(QStringLiteral("frequencySweepCheckBox"));
        auto *slider = dialog.findChild<QSlider *>(QStringLiteral("frequencySlider"));
        auto *spinBox = dialog.findChild<QSpinBox *>(QStringLiteral("frequencySpinBox"));
        auto *amplitude = dialog.findChild<QDoubleSpinBox *>(QStringLiteral("amplitudeSpinBox"));
        QVERIFY(sweep && slider && spinBox && amplitude);

        QCOMPARE(sweep->text(), QStringLiteral("Frequency sweep"));
        QVERIFY(!dialog.isFrequencySweepEnabled());
        QCOMPARE(dialog.frequency(), 100.0);
        QCOMPARE(dialog.amplitude(), 1.0);
        QCOMPARE(slider->orientation(), Qt::Horizontal);
        QCOMPARE(qMakePair(slider->minimum(), slider->maximum()), qMakePair(1, 300));
        QCOMPARE(qMakePair(spinBox->minimum(), spinBox->maximum()), qMakePair(1, 300));
        QCOMPARE(qMakePair(amplitude->minimum(), amplitude->maximum()), qMakePair(0.0, 1.0));
        QCOMPARE(amplitude->decimals(), 2);
        QCOMPARE(amplitude->singleStep(), 0.1);
        QVERIFY(dialog.windowTitle().isEmpty());

        // The frequency controls sit in their own panel, which the sweep box does not.
        QWidget *panel = dialog.findChild<QWidget *>(QStringLiteral("frequencyPanel"));
        QVERIFY(panel && panel->isEnabled());
        QCOMPARE(slider->parentWidget(), panel);
        QCOMPARE(spinBox->parentWidget(), panel);
        QVERIFY(sweep->parentWidget() != panel);
        QStringList labels;
        for (QLabel *label : dialog.findChildren<QLabel *>())
            labels << label->text();
        labels.sort();
        QCOMPARE(labels, QStringList({"Amplitude", "Frequency (Hz)"}));
    }

    // control: the one that the user moves; value: what it is given.
    void toneDialogFrequencyControlsMoveTogether_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<int>("value");
        QTest::addColumn<double>("frequency");
        dataRow("slider", "frequencySlider", 250, 250.0);
        dataRow("spin box", "frequencySpinBox", 7, 7.0);
        dataRow("slider to its top", "frequencySlider", 300, 300.0);
        dataRow("spin box beyond the range", "frequencySpinBox", 1000, 300.0);
        dataRow("slider below the range", "frequencySlider", 0, 1.0);
    }
    void toneDialogFrequencyControlsMoveTogether()
    {
        QFETCH(QString, control);
        QFETCH(int, value);
        QFETCH(double, frequency);

        ToneGeneratorDialog dialog;
        auto *slider = dialog.findChild<QSlider *>(QStringLiteral("frequencySlider"));
        auto *spinBox = dialog.findChild<QSpinBox *>(QStringLiteral("frequencySpinBox"));
        QMetaObject::invokeMethod(dialog.findChild<QWidget *>(control), "setValue",
                                  Q_ARG(int, value));
        QCOMPARE(dialog.frequency(), frequency);
        QCOMPARE(slider->value(), int(frequency));
        QCOMPARE(spinBox->value(), int(frequency));
    }

    void toneDialogSweepDisablesTheFrequencyPanel()
    {
        ToneGeneratorDialog dialog;
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto *sweep = dialog.findChild<QCheckBox *>(QStringLiteral("frequencySweepCheckBox"));
        QWidget *panel = dialog.findChild<QWidget *>(QStringLiteral("frequencyPanel"));
        auto *amplitude = dialog.findChild<QDoubleSpinBox *>(QStringLiteral("amplitudeSpinBox"));

        QTest::mouseClick(sweep, Qt::LeftButton);
        QVERIFY(dialog.isFrequencySweepEnabled());
        QVERIFY(!panel->isEnabled());
        QVERIFY(amplitude->isEnabled());
        dialog.grab().save(screenshotPath(QStringLiteral("tonegeneratordialog-sweep.png")));

        QTest::mouseClick(sweep, Qt::LeftButton);
        QVERIFY(!dialog.isFrequencySweepEnabled());
        QVERIFY(panel->isEnabled());
        dialog.grab().save(screenshotPath(QStringLiteral("tonegeneratordialog.png")));
    }

    void toneDialogButtonsCloseIt_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<int>("result");
        dataRow("Ok", int(QDialogButtonBox::Ok), int(QDialog::Accepted));
        dataRow("Cancel", int(QDialogButtonBox::Cancel), int(QDialog::Rejected));
    }
    void toneDialogButtonsCloseIt()
    {
        QFETCH(int, button);
        QFETCH(int, result);

        ToneGeneratorDialog dialog;
        auto *box = dialog.findChild<QDialogButtonBox *>();
        QTimer::singleShot(0, &dialog, [box, button] {
            box->button(QDialogButtonBox::StandardButton(button))->click();
        });
        QCOMPARE(dialog.exec(), result);
    }
};

QTEST_MAIN(TestAudioViews)
#include "tst_audioviews.moc"
