#include "RegFunctions.h"

#include "AppContext.h"
#include "ProcedureCodes.h"
#include "platform/Clock.h"

#include <QVariant>

#include <type_traits>
#include <utility>

namespace hvx {

namespace {

std::unique_ptr<RegistryStore> newStore(AppContext& ctx) {
    return create(ctx.env.registryStore, "RegistryStore");
}

// How the store compares value names: ASCII letters without regard to case, nothing else.
template <typename View>
bool sameNameAs(QStringView stored, View asked) {
    if (stored.size() != asked.size()) {
        return false;
    }
    const auto fold = [](char16_t c) {
        return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
    };
    for (qsizetype i = 0; i < stored.size(); ++i) {
        if (fold(stored[i].unicode()) != fold(QChar(asked[i]).unicode())) {
            return false;
        }
    }
    return true;
}

// The names the channel asks for are Latin-1 constants: compared as they are, not copied.
bool sameName(QStringView stored, QAnyStringView asked) {
    return asked.visit([stored](auto view) {
        if constexpr (std::is_same_v<decltype(view), QUtf8StringView>) {
            const QString text = view.toString();
            return sameNameAs(stored, QStringView(text));
        } else {
            return sameNameAs(stored, view);
        }
    });
}

void forgetSharedReads(AppContext& ctx) {
    if (ctx.sharedReads != nullptr) {
        ctx.sharedReads->forget();
    }
}

}  // namespace

QString sectionKeyPath(const AppContext& ctx, const QString& section) {
    return ctx.registryBasePath + QLatin1Char('\\') + section;
}

QString GetRegValue(AppContext& ctx, const QString& section, QAnyStringView name,
                    QAnyStringView defaultValue) {
    ctx.procedureCode = code::kGetRegValue;
    if (ctx.sharedReads != nullptr && ctx.sharedReads->covers(section)) {
        return ctx.sharedReads->value(name, defaultValue);
    }
    auto store = newStore(ctx);
    QVariant value;
    int type = 0;
    const int status = store->QueryValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section),
                                         name.toString(), value, type);
    return status == RegistryStore::kStatusOk ? value.toString() : defaultValue.toString();
}

void SaveRegValue(AppContext& ctx, const QString& section, const QString& name,
                  const QString& value) {
    ctx.procedureCode = code::kSaveRegValue;
    forgetSharedReads(ctx);
    newStore(ctx)->SetValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section), name, value,
                            RegistryStore::kTypeString, true);
}

void DeleteRegValue(AppContext& ctx, const QString& section, const QString& name) {
    ctx.procedureCode = code::kDeleteRegValue;
    forgetSharedReads(ctx);
    newStore(ctx)->DropValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section), name);
}

void DeleteRegSection(AppContext& ctx, const QString& section) {
    ctx.procedureCode = code::kDeleteRegSection;
    forgetSharedReads(ctx);
    newStore(ctx)->DropKey(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section));
}

SharedSectionReads::SharedSectionReads(AppContext& ctx, QString section)
    : SharedSectionReads(ctx, std::move(section), own_) {}

SharedSectionReads::SharedSectionReads(AppContext& ctx, QString section, SectionSnapshot& kept)
    : ctx_(ctx), section_(std::move(section)), outer_(ctx.sharedReads), snapshot_(kept) {
    ctx_.sharedReads = this;
}

SharedSectionReads::~SharedSectionReads() {
    ctx_.sharedReads = outer_;
}

QString SharedSectionReads::value(QAnyStringView name, QAnyStringView defaultValue) {
    const std::int64_t now = required(ctx_.env.clock).milliseconds();
    if (!read_ || now - readAt_ > kFreshMilliseconds) {
        read_ = false;
        // A store that cannot be read answers this read with the default, as a read of its
        // own would; the next read tries again.
        if (!readSection()) {
            return defaultValue.toString();
        }
        read_ = true;
        readAt_ = now;
    }
    for (const RegistryStore::Entry& entry : snapshot_.entries) {
        if (sameName(entry.name, name)) {
            return entry.value;
        }
    }
    return defaultValue.toString();
}

bool SharedSectionReads::readSection() {
    const auto store = newStore(ctx_);
    // Asked before the listing: a change after it moves the count again.
    const std::optional<std::uint64_t> count = store->ChangeCount();
    if (count && count == snapshot_.changeCount) {
        return true;
    }
    snapshot_.changeCount.reset();
    if (store->ListOwnValues(RegistryStore::kCurrentUser, sectionKeyPath(ctx_, section_),
                             snapshot_.entries) == RegistryStore::kStatusFailure) {
        return false;
    }
    snapshot_.changeCount = count;
    return true;
}

}  // namespace hvx
