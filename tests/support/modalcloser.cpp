#include "modalcloser.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>

ModalCloser::ModalCloser(QObject *parent) : QObject(parent)
{
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &ModalCloser::closeModal);
    timer->start(20);
}

void ModalCloser::closeModal()
{
    QWidget *modal = QApplication::activeModalWidget();
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        if (held != box) {
            held = box;
            heldFor.start();
            seenTexts.append(box->text());
            seenBoxes.append(QStringLiteral("%1|%2|%3")
                                 .arg(box->windowTitle(), box->text())
                                 .arg(box->standardButtons()));
            seenDetails.append(box->text() + QLatin1Char('|') + box->informativeText());
        }
        if (heldFor.elapsed() < holdMs)
            return;
        held = nullptr;
        QAbstractButton *button = box->defaultButton();
        if (QAbstractButton *chosen = button ? button : box->buttons().value(0))
            chosen->click();
        else
            box->done(0);
    } else if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
        const QString answer = fileAnswers.isEmpty() ? QString() : fileAnswers.takeFirst();
        if (answer.isEmpty())
            return dialog->reject();
        // A focused name field keeps its text against selectFile.
        if (QWidget *focused = dialog->focusWidget())
            focused->clearFocus();
        dialog->selectFile(answer);
        QMetaObject::invokeMethod(dialog, "accept");
    } else if (auto *dialog = qobject_cast<QDialog *>(modal)) {
        dialog->reject();
    }
}
