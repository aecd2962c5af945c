#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringList>

// Closes modal dialogs from a timer so that a test never hangs on one. Each
// message box it meets is answered with its default (or first) button and its
// text is recorded, also as "title|text|standard buttons" in boxes(); file dialogs
// are rejected unless a file name is queued for them with answerFileDialogs().
class ModalCloser : public QObject
{
    Q_OBJECT
public:
    explicit ModalCloser(QObject *parent = nullptr);

    QStringList texts() const { return seenTexts; }
    QStringList boxes() const { return seenBoxes; }
    // Each box's text, "|" and its informative text.
    QStringList details() const { return seenDetails; }
    void clear()
    {
        seenTexts.clear();
        seenBoxes.clear();
        seenDetails.clear();
    }
    // Leaves each message box open this long before answering it, as a reader does.
    void holdEachFor(int ms) { holdMs = ms; }
    // File names to give the next file dialogs, in order; an empty name cancels.
    void answerFileDialogs(const QStringList &names) { fileAnswers = names; }

private:
    void closeModal();

    QStringList seenTexts;
    QStringList seenBoxes;
    QStringList seenDetails;
    QStringList fileAnswers;
    int holdMs = 0;
    QPointer<QWidget> held; // the box being held open, since heldFor started
    QElapsedTimer heldFor;
};
