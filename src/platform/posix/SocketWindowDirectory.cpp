#include "SocketWindowDirectory.h"

#include <utility>

namespace hvx {

namespace {

constexpr char kWindowKind[] = "window";

class SocketCaptionAnnouncement final : public CaptionAnnouncement {
  public:
    explicit SocketCaptionAnnouncement(const QString& caption) { setCaption(caption); }

    void setCaption(const QString& caption) override {
        if (name_ && caption == caption_) {
            if (!name_->held()) {
                name_->claim();
            }
            return;
        }
        // The old name goes before the new one is claimed: a caption changed back and forth
        // must never leave the old one announced.
        name_.reset();
        caption_ = caption;
        name_ = std::make_unique<AbstractSocketName>(kWindowKind, caption_);
        name_->claim();
    }

  private:
    QString caption_;
    std::unique_ptr<AbstractSocketName> name_;
};

}  // namespace

SocketWindowDirectory::SocketWindowDirectory() = default;
SocketWindowDirectory::~SocketWindowDirectory() = default;

bool SocketWindowDirectory::findWindow(const QString& caption) const {
    // The name hashes the caption: made again only for another caption or session.
    QByteArray session = qgetenv("HVX_SESSION");
    if (!lastName_ || caption != lastCaption_ || session != lastSession_) {
        lastName_ = std::make_unique<AbstractSocketName>(kWindowKind, caption);
        lastCaption_ = caption;
        lastSession_ = std::move(session);
    }
    return probe_.held(*lastName_);
}

std::unique_ptr<CaptionAnnouncement> SocketWindowDirectory::announce(const QString& caption) {
    return std::make_unique<SocketCaptionAnnouncement>(caption);
}

}  // namespace hvx
