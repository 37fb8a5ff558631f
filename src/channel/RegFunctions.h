#pragma once

#include "platform/RegistryStore.h"

#include <QAnyStringView>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace hvx {

struct AppContext;

// The program's only way into the per-user store: values in a section below the registry
// base path. Each call creates a store component for itself and releases it; nothing is
// cached, so a value the core application wrote is seen by the very next read.
// No error trap of their own: a store that cannot be created raises error 429 to the caller.

// The value's text, or `defaultValue` when it cannot be read. An empty value is empty text.
QString GetRegValue(AppContext& ctx, const QString& section, QAnyStringView name,
                    QAnyStringView defaultValue);
// Creates the section when it is missing. A failure to write is not detected.
void SaveRegValue(AppContext& ctx, const QString& section, const QString& name,
                  const QString& value);
// Deleting what is not there does nothing.
void DeleteRegValue(AppContext& ctx, const QString& section, const QString& name);
void DeleteRegSection(AppContext& ctx, const QString& section);

// The key path of a section: registry base path, a backslash, the section.
QString sectionKeyPath(const AppContext& ctx, const QString& section);

// A section as last read, and the store's change count at that read.
struct SectionSnapshot {
    std::vector<RegistryStore::Entry> entries;
    // Empty when the entries are not known to hold.
    std::optional<std::uint64_t> changeCount;
};

// While it lives, the reads of one section through GetRegValue share one read of the whole
// section: the first read creates the store component and reads every value of the section
// in one transaction, and the reads after it answer from that as long as it is at most
// kFreshMilliseconds old and nothing was written or deleted through these functions since.
// A run of reads close together, such as the timer's tick, so costs one store transaction,
// and each read still answers what a read of its own could have answered: nothing waits
// between them on the other processes, and this process's own writes are seen at once.
// One scope at a time per context; a nested one takes over until it ends.
class SharedSectionReads {
  public:
    static constexpr std::int64_t kFreshMilliseconds = 20;

    SharedSectionReads(AppContext& ctx, QString section);
    // Reads into `kept`, which may outlive the scope: a later scope with it lists the section
    // again only when the store's change count moved, so a section read every second costs
    // one look at the count while nobody changes it.
    SharedSectionReads(AppContext& ctx, QString section, SectionSnapshot& kept);
    ~SharedSectionReads();
    SharedSectionReads(const SharedSectionReads&) = delete;
    SharedSectionReads& operator=(const SharedSectionReads&) = delete;

    bool covers(const QString& section) const { return section == section_; }
    // The value of `name` in the section, read afresh when needed; `defaultValue` when it is
    // missing or the store could not be read. A store that cannot be created raises 429.
    QString value(QAnyStringView name, QAnyStringView defaultValue);
    // The next read reads afresh.
    void forget() { read_ = false; }

  private:
    bool readSection();

    AppContext& ctx_;
    const QString section_;
    SharedSectionReads* const outer_;
    bool read_ = false;
    std::int64_t readAt_ = 0;
    SectionSnapshot own_;
    SectionSnapshot& snapshot_;
};

}  // namespace hvx
