#pragma once

#include "platform/ProductComponents.h"

#include <QSplashScreen>

#include <memory>

namespace hvx {

// A splash screen with the product's name and the program's version.
class QtSplash final : public Splash {
  public:
    explicit QtSplash(QString productName);
    ~QtSplash() override;

    void ShowSplash(long style) override;
    void CloseSplash() override;

  private:
    QString productName_;
    std::unique_ptr<QSplashScreen> screen_;
};

}  // namespace hvx
