#include "SqliteRegistryStore.h"

#include "RegistryDatabase.h"

#include <QDir>

#include <limits>
#include <utility>

namespace hvx {

namespace {

using Sql = RegistryDatabase::Sql;
using Step = RegistryDatabase::Step;

// The store holds the current user's values only.
bool isCurrentUser(std::uint32_t hive) {
    return hive == RegistryStore::kCurrentUser;
}

// Binds ?1 to the key and ?2, ?3 to the bounds of the keys below it (see RegistryDatabase).
bool bindKeyRange(RegistryDatabase::Statement& statement, const QString& keyPath) {
    return statement.bind(1, keyPath) && statement.bind(2, keyPath + QLatin1Char('\\')) &&
           statement.bind(3, keyPath + QLatin1Char(']'));
}

}  // namespace

SqliteRegistryStore::SqliteRegistryStore(std::shared_ptr<RegistryDatabase> database)
    : database_(std::move(database)) {}

SqliteRegistryStore::~SqliteRegistryStore() = default;

QString SqliteRegistryStore::defaultPath() {
    QString explicitPath = qEnvironmentVariable("HVX_REGISTRY");
    if (!explicitPath.isEmpty()) {
        return explicitPath;
    }
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    // The base directory rules ignore a relative XDG_CONFIG_HOME.
    if (config.isEmpty() || QDir::isRelativePath(config)) {
        config = QDir::homePath() + QStringLiteral("/.config");
    }
    return config + QStringLiteral("/halvex/registry.sqlite3");
}

Factory<RegistryStore> SqliteRegistryStore::factory(const QString& path) {
    auto database = std::make_shared<RegistryDatabase>(path);
    return [database]() -> std::unique_ptr<RegistryStore> {
        database->ensureUsable();
        return std::make_unique<SqliteRegistryStore>(database);
    };
}

int SqliteRegistryStore::QueryValue(std::uint32_t hive, const QString& keyPath, const QString& name,
                                    QVariant& value, int& type) {
    if (!isCurrentUser(hive)) {
        return kStatusFailure;
    }
    auto statement = database_->statement(Sql::Query);
    if (!statement || !statement.bind(1, keyPath) || !statement.bind(2, name)) {
        return kStatusFailure;
    }
    switch (statement.step()) {
        case Step::Row:
            type = statement.isNumber(0) ? kTypeNumber : kTypeString;
            value = statement.value(0);
            return kStatusOk;
        case Step::Done:
            return kStatusNotFound;
        case Step::Failed:
            break;
    }
    return kStatusFailure;
}

// A key exists as long as it holds a value, so every write creates its key and `createKey`
// changes nothing.
int SqliteRegistryStore::SetValue(std::uint32_t hive, const QString& keyPath, const QString& name,
                                  const QVariant& value, int type, bool /*createKey*/) {
    if (!isCurrentUser(hive) || (type != kTypeString && type != kTypeNumber)) {
        return kStatusFailure;
    }
    qint64 number = 0;
    if (type == kTypeNumber) {
        bool ok = false;
        number = value.toLongLong(&ok);
        if (!ok || number < std::numeric_limits<qint32>::min() ||
            number > std::numeric_limits<qint32>::max()) {
            return kStatusFailure;
        }
    }
    auto statement = database_->statement(Sql::Upsert);
    if (!statement || !statement.bind(1, keyPath) || !statement.bind(2, name)) {
        return kStatusFailure;
    }
    const bool bound =
        type == kTypeNumber ? statement.bind(3, number) : statement.bind(3, value.toString());
    return bound && statement.step() == Step::Done ? kStatusOk : kStatusFailure;
}

int SqliteRegistryStore::DropValue(std::uint32_t hive, const QString& keyPath,
                                   const QString& name) {
    if (!isCurrentUser(hive)) {
        return kStatusFailure;
    }
    auto statement = database_->statement(Sql::DropValue);
    if (!statement || !statement.bind(1, keyPath) || !statement.bind(2, name) ||
        statement.step() != Step::Done) {
        return kStatusFailure;
    }
    return statement.changes() > 0 ? kStatusOk : kStatusNotFound;
}

int SqliteRegistryStore::DropKey(std::uint32_t hive, const QString& keyPath) {
    // An empty path would be every key of the user: never what a caller means.
    if (!isCurrentUser(hive) || keyPath.isEmpty()) {
        return kStatusFailure;
    }
    auto statement = database_->statement(Sql::DropKey);
    if (!statement || !bindKeyRange(statement, keyPath) || statement.step() != Step::Done) {
        return kStatusFailure;
    }
    return statement.changes() > 0 ? kStatusOk : kStatusNotFound;
}

// An empty key path lists every key.
int SqliteRegistryStore::ListValues(std::uint32_t hive, const QString& keyPath,
                                    std::vector<Entry>& entries) {
    entries.clear();
    if (!isCurrentUser(hive)) {
        return kStatusFailure;
    }
    auto statement = database_->statement(keyPath.isEmpty() ? Sql::ListAll : Sql::ListKey);
    if (!statement || (!keyPath.isEmpty() && !bindKeyRange(statement, keyPath))) {
        return kStatusFailure;
    }
    Step step = Step::Done;
    while ((step = statement.step()) == Step::Row) {
        entries.push_back({statement.text(0), statement.text(1), statement.value(2).toString()});
    }
    if (step == Step::Failed) {
        entries.clear();
        return kStatusFailure;
    }
    return entries.empty() ? kStatusNotFound : kStatusOk;
}

int SqliteRegistryStore::ListOwnValues(std::uint32_t hive, const QString& keyPath,
                                       std::vector<Entry>& entries) {
    if (!isCurrentUser(hive)) {
        entries.clear();
        return kStatusFailure;
    }
    auto statement = database_->statement(Sql::ListOwn);
    if (!statement || !statement.bind(1, keyPath)) {
        entries.clear();
        return kStatusFailure;
    }
    const auto keep = [](QString& text, QUtf8StringView now) {
        if (!QAnyStringView::equal(text, now)) {
            text = now.toString();
        }
    };
    std::size_t count = 0;
    Step step = Step::Done;
    while ((step = statement.step()) == Step::Row) {
        if (count == entries.size()) {
            entries.push_back(
                {keyPath, statement.utf8(0).toString(), statement.utf8(1).toString()});
        } else {
            Entry& entry = entries[count];
            entry.keyPath = keyPath;
            keep(entry.name, statement.utf8(0));
            keep(entry.value, statement.utf8(1));
        }
        ++count;
    }
    entries.resize(step == Step::Failed ? 0 : count);
    if (step == Step::Failed) {
        return kStatusFailure;
    }
    return entries.empty() ? kStatusNotFound : kStatusOk;
}

std::optional<std::uint64_t> SqliteRegistryStore::ChangeCount() {
    return database_->changeCount();
}

}  // namespace hvx
