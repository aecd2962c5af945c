#include "modalcloser.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>

ModalCloser::ModalCloser(QObject *parent) : QObject(parent), timer(new QTimer(this))
{
    timer->setInterval(20);
    connect(timer, &QTimer::timeout, this, &ModalCloser::closeModal);
    timer->start();
}

ModalCloser::~ModalCloser() = default;

void ModalCloser::closeModal()
{
    QWidget *modal = QApplication::activeModalWidget();
    if (!modal)
        return;
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        seenTexts.append(box->text());
        QAbstractButton *button = box->defaultButton();
        if (!button && !box->buttons().isEmpty())
            button = box->buttons().first();
        if (button)
            button->click();
        else
            box->done(0);
        return;
    }
    if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
        const QString answer = fileAnswers.isEmpty() ? QString() : fileAnswers.takeFirst();
        if (answer.isEmpty()) {
            dialog->reject();
        } else {
            // A focused name field keeps its text against selectFile.
            if (QWidget *focused = dialog->focusWidget())
                focused->clearFocus();
            dialog->selectFile(answer);
            QMetaObject::invokeMethod(dialog, "accept");
        }
        return;
    }
    if (auto *dialog = qobject_cast<QDialog *>(modal))
        dialog->reject();
}
