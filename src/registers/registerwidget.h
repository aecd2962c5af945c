#pragma once

#include <QList>
#include <QWidget>

class QComboBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class RegisterLineEdit;
struct Field;

// The page "Register Config": one channel's registers as a bit-aligned grid, one
// grid column per data bit, in a chosen number base, with the details of the field
// in focus beside it. The rows are built from channel A; the channel box rebinds
// them to the fields of the chosen channel, matched by register address.
class RegisterWidget : public QWidget
{
    Q_OBJECT
public:
    explicit RegisterWidget(QWidget *parent = nullptr);

    static constexpr int FirstFieldColumn = 8;
    static constexpr int SendColumn = 20;
    static constexpr int PanelWidthChars = 30; // the field panel's width, in average characters
    static inline const QString SendFailText =
        QStringLiteral("REGISTER SEND FAIL: Fix registers highlighted in red.");

signals:
    void sigSendRegister(int channel, int address, int value);
    void sigSendRegisterVoid();
    void sigReadRegisters();
    void sigRegisterUpdated();

public slots:
    void setEnabled(bool enabled);
    void setRegisterToSend();
    void readAll();
    // True when every editable shown register of both channels went out.
    bool sendAll();
    // True when no row of either channel shows an entry that cannot be sent (red);
    // otherwise the first channel with one is left selected.
    bool readyToSend();

private slots:
    void updateRightPanel(const Field *new_field);
    void updateFields(int index);
    int getBase();

private:
    void buildUi();
    void addRegisterRow(int gridRow, int rowIndex, quint16 address);
    void connectEditor(RegisterLineEdit *editor);
    // The selected channel has the row's register, with as many fields as the row.
    bool rowIsComplete(int index) const;
    QString rowProblem(int index) const;
    void markRow(int index);
    bool rowFits(const QList<QLineEdit *> &row) const;
    bool channelReadyToSend();
    void showSendFail();

    QList<QList<QLineEdit *>> rows;
    QList<quint16> rowAddresses; // the address of each row's register
    bool show_rsvd = false;
    QComboBox *channelBox = nullptr;
    QComboBox *displayTypeBox = nullptr;
    QGridLayout *grid = nullptr;
    QLabel *nameValue = nullptr;
    QLabel *valueValue = nullptr;
    QLabel *lengthValue = nullptr;
    QLabel *minValue = nullptr;
    QLabel *maxValue = nullptr;
    QLabel *descriptionValue = nullptr;
};
