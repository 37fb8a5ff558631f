#include "dlgDeleteOldMessages.h"

#include "platform/MessageBoxes.h"
#include "platform/qt/CentreOnScreen.h"
#include "settings/OldUnsentMessages.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>
#include <QVBoxLayout>

namespace hvx {

dlgDeleteOldMessages::dlgDeleteOldMessages(MessageBoxes& boxes, QWidget* parent)
    : QDialog(parent), boxes_(boxes) {
    setObjectName(QStringLiteral("dlgDeleteOldMessages"));
    setWindowTitle(QStringLiteral("Delete unsent messages"));
    setModal(true);

    auto* picture = new QLabel(this);
    picture->setObjectName(QStringLiteral("Picture1"));
    picture->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(32, 32));
    lblExplain_ = new QLabel(this);
    lblExplain_->setObjectName(QStringLiteral("lblExplain"));
    lblExplain_->setWordWrap(true);
    lblExplain_->setMinimumWidth(420);

    const char* captions[] = {"Do not delete any messages", "Delete ALL unsent messages",
                              "Delete all messages more than "};
    for (int i = 0; i < 3; ++i) {
        option_[i] = new QRadioButton(QString::fromLatin1(captions[i]), this);
        option_[i]->setObjectName(QStringLiteral("Option1_%1").arg(i));
    }
    option_[2]->setChecked(true);
    txtDays_ = new QLineEdit(this);
    txtDays_->setObjectName(QStringLiteral("txtDays"));
    txtDays_->setMaximumWidth(60);
    auto* daysLabel = new QLabel(QStringLiteral("days old"), this);
    daysLabel->setObjectName(QStringLiteral("Label1"));

    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(ok, &QPushButton::clicked, this, &dlgDeleteOldMessages::cmdOK_Click);
    connect(cancel, &QPushButton::clicked, this, &dlgDeleteOldMessages::cmdCancel_Click);

    auto* top = new QHBoxLayout;
    top->addWidget(picture, 0, Qt::AlignTop);
    top->addWidget(lblExplain_, 1);
    auto* days = new QHBoxLayout;
    days->addWidget(option_[2]);
    days->addWidget(txtDays_);
    days->addWidget(daysLabel);
    days->addStretch();
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    all->addWidget(option_[0]);
    all->addWidget(option_[1]);
    all->addLayout(days);
    all->addLayout(buttons);
}

void dlgDeleteOldMessages::SetOldUnsentCount(int count) {
    oldUnsentCount_ = count;
}

void dlgDeleteOldMessages::Form_Load() {
    lblExplain_->setText(oldMessagesWarning(oldUnsentCount_));
    adjustSize();
    centreOnScreen(*this);
}

void dlgDeleteOldMessages::Show() {
    Form_Load();
    exec();
}

void dlgDeleteOldMessages::refuseDays(const QString& text) {
    boxes_.Show({text, QStringLiteral("Halvex Help Desk"), MessageIcon::Exclamation,
                 MessageButtons::OkOnly, 1});
    txtDays_->setFocus();
    userChoice_ = kNoChoice;
}

void dlgDeleteOldMessages::cmdOK_Click() {
    userChoice_ = option_[0]->isChecked()   ? kKeep
                  : option_[1]->isChecked() ? kDeleteAll
                                            : kDeleteOlderThanDays;
    if (userChoice_ == kDeleteOlderThanDays) {
        const QString refusal = daysRefusal(txtDays_->text(), daysToDelete_);
        if (!refusal.isEmpty()) {
            refuseDays(refusal);
            return;
        }
    }
    cancelled_ = false;
    accept();
}

void dlgDeleteOldMessages::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        cmdCancel_Click();
        return;
    }
    QDialog::keyPressEvent(event);
}

void dlgDeleteOldMessages::cmdCancel_Click() {
    cancelled_ = true;
    reject();
}

}  // namespace hvx
