#pragma once

#include "platform/Dialogs.h"

#include <QDialog>

#include <array>

class QLabel;
class QLineEdit;
class QPushButton;

namespace hvx {

struct AppContext;

// "Operator Alert": the alert message and up to three destinations, laid out in twips. OK
// applies the quotes rule and saves exactly what was typed; a refusal or a store error keeps
// the dialog open. Cancel, Escape and the close box save nothing.
class dlgOperatorName final : public QDialog, public OperatorNameDialog {
    Q_OBJECT

  public:
    static constexpr int kClientWidth = 5610;
    static constexpr int kClientHeight = 3360;

    // `ctx` is not owned and must outlive the dialog.
    explicit dlgOperatorName(AppContext& ctx, QWidget* parent = nullptr);

    void Show() override;

    void Form_Load();
    void cmdOK_Click();
    void cmdCancel_Click();

    QRect twipsGeometry(const QWidget* control) const;

  private:
    void place(QWidget* control, int left, int top, int width, int height);

    AppContext& ctx_;
    QLabel* Label1;
    std::array<QLabel*, 2> Label2;
    QLineEdit* txtMsg;
    std::array<QLineEdit*, 3> Text1;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;
};

}  // namespace hvx
