#include "dlgMonitorNames.h"

#include "channel/AppContext.h"
#include "platform/MessageBoxes.h"
#include "platform/qt/CentreOnScreen.h"
#include "platform/qt/Twips.h"
#include "platform/qt/UnattendedSession.h"

#include <QComboBox>
#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>

namespace hvx {

namespace {

QString namesFile(const AppContext& ctx) {
    return ctx.env.applicationFolder + QLatin1Char('/') + QLatin1String(kMonitorNamesFile);
}

}  // namespace

dlgMonitorNames::dlgMonitorNames(AppContext& ctx, QWidget* parent) : QDialog(parent), ctx_(ctx) {
    setObjectName(QStringLiteral("dlgMonitorNames"));
    setWindowTitle(QStringLiteral("Select the Monitor instance"));
    setModal(true);
    const auto place = [this](QWidget* control, int left, int top, int width, int height) {
        control->setGeometry(twipsToPixels(*this, QRect(left, top, width, height)));
    };
    auto* label =
        new QLabel(QStringLiteral("Select the Monitor instance you want to start:"), this);
    label->setObjectName(QStringLiteral("Label1"));
    place(label, 360, 360, 3495, 195);
    // Designed for a narrower font: the prompt takes the room its text needs (the space to
    // its right and below it is free).
    label->resize(label->size().expandedTo(label->sizeHint()));
    cboMonitorName = new QComboBox(this);
    cboMonitorName->setObjectName(QStringLiteral("cboMonitorName"));
    place(cboMonitorName, 360, 720, 3915, 315);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    place(ok, 4380, 720, 1275, 375);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    place(cancel, 4380, 1260, 1275, 375);
    setFixedSize(twipsToPixels(*this, 5775), twipsToPixels(*this, 1770));
    QWidget::setTabOrder(cboMonitorName, ok);
    QWidget::setTabOrder(ok, cancel);
    QWidget::setTabOrder(cancel, label);
    connect(ok, &QPushButton::clicked, this, &dlgMonitorNames::cmdOK_Click);
    // Escape and the close box reject; both leave the dialog cancelled.
    connect(cancel, &QPushButton::clicked, this, &dlgMonitorNames::cmdCancel_Click);
}

void dlgMonitorNames::Show() {
    Form_Load();
    exec();
}

void dlgMonitorNames::Form_Load() {
    cancelled_ = true;
    centreOnScreen(*this);
    const MonitorNamesList list = readMonitorNames(ctx_, namesFile(ctx_));
    entries_ = list.entries;
    for (const MonitorNameEntry& entry : entries_) {
        cboMonitorName->addItem(entry.name);
    }
    if (!list.error.isEmpty()) {
        cboMonitorName->setCurrentIndex(-1);
        required(ctx_.env.messageBoxes)
            .Show({list.error, std::nullopt, MessageIcon::None, MessageButtons::OkOnly, 1});
    } else if (!entries_.empty()) {
        cboMonitorName->setCurrentIndex(0);
    }
}

void dlgMonitorNames::cmdOK_Click() {
    const InstanceChoice choice =
        checkInstanceChoice(ctx_, entries_, cboMonitorName->currentIndex());
    if (!choice.accepted) {
        required(ctx_.env.messageBoxes).Show(choice.refusal);
        return;
    }
    monitorName_ = choice.name;
    dbIniPath_ = choice.folder;
    cancelled_ = false;
    accept();
}

void dlgMonitorNames::cmdCancel_Click() {
    cancelled_ = true;
    reject();
}

UnattendedMonitorNames::UnattendedMonitorNames(AppContext& ctx, UnattendedSession& session)
    : ctx_(ctx), session_(session) {}

void UnattendedMonitorNames::Show() {
    const QString kind = QStringLiteral("dlgMonitorNames");
    MessageBoxes& boxes = required(ctx_.env.messageBoxes);
    const MonitorNamesList list = readMonitorNames(ctx_, namesFile(ctx_));
    if (!list.error.isEmpty()) {
        // As the dialog does while it loads: a box of its own, with an answer of its own.
        boxes.Show({list.error, std::nullopt, MessageIcon::None, MessageButtons::OkOnly, 1});
    }
    QJsonArray names;
    for (const MonitorNameEntry& entry : list.entries) {
        names.append(entry.name);
    }
    session_.record({{QStringLiteral("kind"), kind},
                     {QStringLiteral("title"), QStringLiteral("Select the Monitor instance")},
                     {QStringLiteral("instances"), names},
                     {QStringLiteral("choices"), QStringLiteral("select:NAME,cancel")}});
    for (;;) {
        const auto token = session_.takeAnswer();
        if (!token || !token->startsWith(QLatin1String("select:"))) {
            QJsonObject line{{QStringLiteral("kind"), kind},
                             {QStringLiteral("answer"), QStringLiteral("cancel")}};
            if (token && *token != QLatin1String("cancel")) {
                line.insert(QStringLiteral("refused"), *token);
            }
            session_.record(line);
            return;
        }
        int selected = -1;
        for (std::size_t i = 0; i < list.entries.size(); ++i) {
            if (list.entries[i].name == token->mid(7)) {
                selected = static_cast<int>(i);
                break;
            }
        }
        session_.record({{QStringLiteral("kind"), kind}, {QStringLiteral("answer"), *token}});
        const InstanceChoice choice = checkInstanceChoice(ctx_, list.entries, selected);
        if (!choice.accepted) {
            // The refusal is a box of its own; the dialog stays open for the next token.
            boxes.Show(choice.refusal);
            continue;
        }
        monitorName_ = choice.name;
        dbIniPath_ = choice.folder;
        cancelled_ = false;
        return;
    }
}

}  // namespace hvx
