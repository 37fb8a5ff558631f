#include "QtMessageBoxes.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include <map>

namespace hvx {

namespace {

QMessageBox::StandardButton standardButtonOf(MessageAnswer answer) {
    switch (answer) {
        case MessageAnswer::Ok:
            return QMessageBox::Ok;
        case MessageAnswer::Cancel:
            return QMessageBox::Cancel;
        case MessageAnswer::Abort:
            return QMessageBox::Abort;
        case MessageAnswer::Retry:
            return QMessageBox::Retry;
        case MessageAnswer::Ignore:
            return QMessageBox::Ignore;
        case MessageAnswer::Yes:
            return QMessageBox::Yes;
        case MessageAnswer::No:
            return QMessageBox::No;
    }
    return QMessageBox::Ok;
}

QMessageBox::Icon qtIconOf(MessageIcon icon) {
    switch (icon) {
        case MessageIcon::Critical:
            return QMessageBox::Critical;
        case MessageIcon::Question:
            return QMessageBox::Question;
        case MessageIcon::Exclamation:
            return QMessageBox::Warning;
        case MessageIcon::Information:
            return QMessageBox::Information;
        case MessageIcon::None:
            break;
    }
    return QMessageBox::NoIcon;
}

}  // namespace

MessageAnswer QtMessageBoxes::Show(const MessageBoxRequest& request) {
    QMessageBox box(qtIconOf(request.icon), request.title.value_or(QApplication::applicationName()),
                    request.text, QMessageBox::NoButton, QApplication::activeWindow());
    std::map<QAbstractButton*, MessageAnswer> answers;
    for (const MessageAnswer answer : buttonsOf(request.buttons)) {
        answers.emplace(box.addButton(standardButtonOf(answer)), answer);
    }
    box.setDefaultButton(standardButtonOf(defaultAnswerOf(request)));
    if (const auto escape = escapeAnswerOf(request.buttons)) {
        box.setEscapeButton(standardButtonOf(*escape));
    }
    box.exec();
    const auto found = answers.find(box.clickedButton());
    if (found != answers.end()) {
        return found->second;
    }
    return escapeAnswerOf(request.buttons).value_or(defaultAnswerOf(request));
}

}  // namespace hvx
