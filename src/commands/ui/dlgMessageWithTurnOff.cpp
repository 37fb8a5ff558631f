#include "dlgMessageWithTurnOff.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/qt/CentreOnScreen.h"
#include "platform/qt/Twips.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

#include <algorithm>

namespace hvx {

namespace {

constexpr int kButtonWidth = 1215;
constexpr int kButtonHeight = 375;
constexpr int kLabelLeft = 840;
constexpr int kLabelTop = 240;
constexpr int kLabelWidth = 5880;
constexpr int kBoxHeight = 255;

QPushButton* button(QWidget* parent, const char* name, const char* caption) {
    auto* made = new QPushButton(QString::fromLatin1(caption), parent);
    made->setObjectName(QString::fromLatin1(name));
    made->setAutoDefault(false);
    return made;
}

}  // namespace

dlgMessageWithTurnOff::dlgMessageWithTurnOff(AppContext& ctx, QWidget* parent)
    : QDialog(parent), ctx_(ctx) {
    setObjectName(QStringLiteral("dlgMessageWithTurnOff"));
    setWindowTitle(QStringLiteral("Halvex Help Desk"));
    setModal(true);
    Image1 = new QLabel(this);
    Image1->setObjectName(QStringLiteral("Image1"));
    Image1->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxQuestion).pixmap(32, 32));
    place(Image1, 180, 180, 480, 480);
    Label1 = new QLabel(QStringLiteral("Label1"), this);
    Label1->setObjectName(QStringLiteral("Label1"));
    Label1->setWordWrap(true);
    Label1->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    place(Label1, kLabelLeft, kLabelTop, kLabelWidth, 195);
    cmdYes = button(this, "cmdYes", "Yes");
    place(cmdYes, 2940, 1920, kButtonWidth, kButtonHeight);
    cmdNo = button(this, "cmdNo", "No");
    place(cmdNo, 4260, 1920, kButtonWidth, kButtonHeight);
    chkNoMore = new QCheckBox(QStringLiteral("Don't warn me about this again"), this);
    chkNoMore->setObjectName(QStringLiteral("chkNoMore"));
    place(chkNoMore, 180, 1980, 2595, kBoxHeight);
    cmdOK = button(this, "cmdOK", "OK");
    place(cmdOK, 5580, 1500, kButtonWidth, kButtonHeight);
    cmdCancel = button(this, "cmdCancel", "Cancel");
    place(cmdCancel, 5580, 1920, kButtonWidth, kButtonHeight);
    setFixedSize(twipsToPixels(*this, kClientWidth), twipsToPixels(*this, 2475));

    QWidget::setTabOrder(cmdYes, cmdNo);
    QWidget::setTabOrder(cmdNo, Label1);
    QWidget::setTabOrder(Label1, chkNoMore);
    QWidget::setTabOrder(chkNoMore, cmdOK);
    QWidget::setTabOrder(cmdOK, cmdCancel);

    connect(cmdOK, &QPushButton::clicked, this, &dlgMessageWithTurnOff::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &dlgMessageWithTurnOff::cmdCancel_Click);
    connect(cmdYes, &QPushButton::clicked, this, &dlgMessageWithTurnOff::cmdYes_Click);
    connect(cmdNo, &QPushButton::clicked, this, &dlgMessageWithTurnOff::cmdNo_Click);
}

void dlgMessageWithTurnOff::place(QWidget* control, int left, int top, int width, int height) {
    control->setGeometry(twipsToPixels(*this, QRect(left, top, width, height)));
}

QRect dlgMessageWithTurnOff::twipsGeometry(const QWidget* control) const {
    return pixelsToTwips(*this, control == this ? QRect(QPoint(), size()) : control->geometry());
}

void dlgMessageWithTurnOff::Show() {
    Form_Load();
    exec();
}

void dlgMessageWithTurnOff::Form_Load() {
    RunTrapped(ctx_, code::kDlgTurnOffFormLoad, [&] {
        cancelled_ = true;
        ArrangeControls();
    });
}

void dlgMessageWithTurnOff::ArrangeControls() {
    ctx_.procedureCode = code::kDlgTurnOffArrangeControls;
    if (!formCaption_.isEmpty()) {
        setWindowTitle(formCaption_);
    }
    Label1->setText(msg_);
    // The height of the text wrapped at the label's own width. (The size hint of a wrapping
    // label assumes a narrower width of its own choosing and can be a line taller.)
    const int labelHeight =
        pixelsToTwips(*this, Label1->heightForWidth(twipsToPixels(*this, kLabelWidth)));
    place(Label1, kLabelLeft, kLabelTop, kLabelWidth, labelHeight);

    const int innerHeight = kLabelTop + labelHeight + kButtonHeight + 720;
    setFixedSize(twipsToPixels(*this, kClientWidth), twipsToPixels(*this, innerHeight));
    const int top = innerHeight - kButtonHeight - 60;
    const int left = kClientWidth - kButtonWidth - 60;
    const int step = kButtonWidth + 60;

    const auto layOut = [&](std::initializer_list<QPushButton*> rightToLeft,
                            QPushButton* defaultButton, QPushButton* escapeButton,
                            std::initializer_list<QPushButton*> hidden) {
        int at = left;
        for (QPushButton* shown : rightToLeft) {
            place(shown, at, top, kButtonWidth, kButtonHeight);
            at -= step;
        }
        for (QPushButton* gone : hidden) {
            gone->hide();
        }
        defaultButton->setDefault(true);
        escapeButton_ = escapeButton;
    };
    if (okOnly_) {
        layOut({cmdOK}, cmdOK, nullptr, {cmdYes, cmdNo, cmdCancel});
    } else if (okCancel_) {
        layOut({cmdCancel, cmdOK}, cmdOK, cmdCancel, {cmdYes, cmdNo});
    } else if (yesNo_) {
        layOut({cmdNo, cmdYes}, cmdYes, cmdNo, {cmdCancel, cmdOK});
    } else if (yesNoCancel_) {
        layOut({cmdCancel, cmdNo, cmdYes}, cmdYes, cmdCancel, {cmdOK});
    }

    if (warningOffKey_.isEmpty()) {
        chkNoMore->hide();
    } else {
        if (!warningOffMessage_.isEmpty()) {
            chkNoMore->setText(warningOffMessage_);
        }
        place(chkNoMore, 180, innerHeight - 60 - kBoxHeight, 2595, kBoxHeight);
        // Designed for a narrower font: the box's caption takes the width it needs (the
        // buttons lie to its right, on the other half of the dialog).
        chkNoMore->resize(std::max(chkNoMore->width(), chkNoMore->sizeHint().width()),
                          chkNoMore->height());
    }

    const QStyle::StandardPixmap picture =
        pictureType_ == kQuestion      ? QStyle::SP_MessageBoxQuestion
        : pictureType_ == kExclamation ? QStyle::SP_MessageBoxWarning
        : pictureType_ == kInformation ? QStyle::SP_MessageBoxInformation
                                       : QStyle::SP_CustomBase;
    if (picture != QStyle::SP_CustomBase) {
        Image1->setPixmap(style()->standardIcon(picture).pixmap(32, 32));
    }

    centreOnScreen(*this);
}

void dlgMessageWithTurnOff::answer(long response, bool cancelled) {
    response_ = response;
    cancelled_ = cancelled;
    accept();
}

void dlgMessageWithTurnOff::cmdOK_Click() {
    RunTrapped(ctx_, code::kDlgTurnOffOK, [&] { answer(1, false); });
}

void dlgMessageWithTurnOff::cmdCancel_Click() {
    RunTrapped(ctx_, code::kDlgTurnOffCancel, [&] { answer(2, true); });
}

void dlgMessageWithTurnOff::cmdYes_Click() {
    RunTrapped(ctx_, code::kDlgTurnOffYes, [&] { answer(6, false); });
}

void dlgMessageWithTurnOff::cmdNo_Click() {
    RunTrapped(ctx_, code::kDlgTurnOffNo, [&] { answer(7, false); });
}

void dlgMessageWithTurnOff::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Escape) {
        QDialog::keyPressEvent(event);
        return;
    }
    if (escapeButton_ != nullptr) {
        escapeButton_->click();
    }
}

void dlgMessageWithTurnOff::done(int result) {
    // Escape and the close box arrive here as well as the buttons.
    Form_Unload();
    QDialog::done(result);
}

void dlgMessageWithTurnOff::Form_Unload() {
    if (unloaded_) {
        return;
    }
    unloaded_ = true;
    RunTrapped(ctx_, code::kDlgTurnOffFormUnload, [&] {
        if (!warningOffKey_.isEmpty() && chkNoMore->isChecked()) {
            SaveRegValue(ctx_, QString(section::kWarnings), warningOffKey_, QStringLiteral("1"));
        }
    });
}

}  // namespace hvx
