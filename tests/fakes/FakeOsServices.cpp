#include "FakeOsServices.h"

namespace hvx::test {

namespace {

class FakeAnnouncement final : public CaptionAnnouncement {
  public:
    FakeAnnouncement(QSet<QString>& open, const QString& caption) : open_(open), caption_(caption) {
        open_.insert(caption_);
    }
    ~FakeAnnouncement() override { open_.remove(caption_); }
    void setCaption(const QString& caption) override {
        open_.remove(caption_);
        caption_ = caption;
        open_.insert(caption_);
    }

  private:
    QSet<QString>& open_;
    QString caption_;
};

}  // namespace

std::unique_ptr<CaptionAnnouncement> FakeWindows::announce(const QString& caption) {
    return std::make_unique<FakeAnnouncement>(open, caption);
}

LaunchResult FakeLauncher::start(const QString& program, const QStringList& arguments,
                                 WindowStyle style, const QByteArray& standardInput) {
    starts.push_back({program, arguments, style, standardInput});
    if (failWith) {
        return *failWith;
    }
    return {true, 0, {}};
}

}  // namespace hvx::test
