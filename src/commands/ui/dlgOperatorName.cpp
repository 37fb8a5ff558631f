#include "dlgOperatorName.h"

#include "commands/NetSendAlerts.h"
#include "platform/qt/CentreOnScreen.h"
#include "platform/qt/Twips.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <limits>

#include <algorithm>

namespace hvx {

dlgOperatorName::dlgOperatorName(AppContext& ctx, QWidget* parent) : QDialog(parent), ctx_(ctx) {
    setObjectName(QStringLiteral("dlgOperatorName"));
    setWindowTitle(QStringLiteral("Operator Alert"));
    setModal(true);

    Label1 = new QLabel(
        QStringLiteral("The Monitor can use Windows 'Net Send' command to send alerts if the "
                       "Monitor logs an error.  The alerts are sent when an error is first "
                       "logged."),
        this);
    Label1->setObjectName(QStringLiteral("Label1"));
    Label1->setWordWrap(true);
    Label1->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    place(Label1, 120, 60, 5355, 615);
    // Designed for a narrower font: the explanation takes the lines it needs (the room below
    // it is free down to the next label).
    Label1->resize(Label1->width(),
                   std::max(Label1->height(), Label1->heightForWidth(Label1->width())));

    Label2[1] = new QLabel(QStringLiteral("Send this message:"), this);
    place(Label2[1], 120, 900, 3315, 255);
    txtMsg = new QLineEdit(this);
    txtMsg->setObjectName(QStringLiteral("txtMsg"));
    // The message has no length limit (a line edit stops at 32,767 characters by default).
    txtMsg->setMaxLength(std::numeric_limits<int>::max());
    place(txtMsg, 120, 1200, 5295, 315);

    Label2[0] = new QLabel(
        QStringLiteral("Send to up to three users (or other valid Net Send destinations):"), this);
    place(Label2[0], 120, 1740, 4695, 195);
    // Designed for a narrower font: this one line takes the width it needs, and the dialog
    // grows to keep its right margin.
    Label2[0]->resize(Label2[0]->size().expandedTo(Label2[0]->sizeHint()));
    for (std::size_t i = 0; i < Label2.size(); ++i) {
        Label2[i]->setObjectName(QStringLiteral("Label2_%1").arg(i));
    }

    for (std::size_t i = 0; i < Text1.size(); ++i) {
        Text1[i] = new QLineEdit(this);
        Text1[i]->setObjectName(QStringLiteral("Text1_%1").arg(i));
        place(Text1[i], 120, 1980 + 420 * static_cast<int>(i), 3315, 315);
        // The designed label speaks of Net Send; the tool tip says what a destination is here.
        Text1[i]->setToolTip(QStringLiteral(
            "A destination may be:\n"
            "  a user name: a message on every terminal of that user on this computer\n"
            "  mailto:ADDRESS: a mail to that address\n"
            "  an https:// web hook: a chat message\n"
            "Enclose a destination that holds spaces in double quotes."));
    }

    cmdOK = new QPushButton(QStringLiteral("OK"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setDefault(true);
    place(cmdOK, 4200, 2280, 1275, 375);
    cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    cmdCancel->setAutoDefault(false);
    place(cmdCancel, 4200, 2820, 1275, 375);

    setFixedSize(std::max(twipsToPixels(*this, kClientWidth),
                          Label2[0]->geometry().right() + 1 + twipsToPixels(*this, 120)),
                 twipsToPixels(*this, kClientHeight));

    QWidget::setTabOrder(txtMsg, Text1[0]);
    QWidget::setTabOrder(Text1[0], Text1[1]);
    QWidget::setTabOrder(Text1[1], Text1[2]);
    QWidget::setTabOrder(Text1[2], cmdCancel);
    QWidget::setTabOrder(cmdCancel, cmdOK);
    txtMsg->setFocus();

    connect(cmdOK, &QPushButton::clicked, this, &dlgOperatorName::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &dlgOperatorName::cmdCancel_Click);
}

void dlgOperatorName::place(QWidget* control, int left, int top, int width, int height) {
    control->setGeometry(twipsToPixels(*this, QRect(left, top, width, height)));
}

QRect dlgOperatorName::twipsGeometry(const QWidget* control) const {
    return pixelsToTwips(*this, control == this ? QRect(QPoint(), size()) : control->geometry());
}

void dlgOperatorName::Show() {
    Form_Load();
    exec();
}

void dlgOperatorName::Form_Load() {
    centreOnScreen(*this);
    AlertSetup setup;
    try {
        ReadAlertSetup(ctx_, setup);
    } catch (...) {
        // The boxes read before the failure are filled, the later ones stay empty; the operator
        // may still type a set-up.
    }
    txtMsg->setText(setup.message);
    for (std::size_t i = 0; i < Text1.size(); ++i) {
        Text1[i]->setText(setup.destinations[i]);
    }
}

void dlgOperatorName::cmdOK_Click() {
    AlertSetup setup;
    setup.message = txtMsg->text();
    for (std::size_t i = 0; i < Text1.size(); ++i) {
        setup.destinations[i] = Text1[i]->text();
    }
    if (SaveAlertSetup(ctx_, setup)) {
        accept();
    }
}

void dlgOperatorName::cmdCancel_Click() {
    reject();
}

}  // namespace hvx
