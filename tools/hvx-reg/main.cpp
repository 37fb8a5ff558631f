// hvx-reg: reads, writes, deletes and lists the per-user store, for operators, scripts and
// tests. It uses the same store library as the Monitor and the core application.

#include "components/BuiltInStringTable.h"
#include "components/RegistryDatabase.h"
#include "components/SqliteRegistryStore.h"
#include "platform/RuntimeError.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace {

using hvx::RegistryStore;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Invocation {
    QString command;
    bool fullKey = false;  // --key: `where` is a full key path, not a section
    QString where;
    QStringList operands;
    bool number = false;
};

void write(std::FILE* stream, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<std::size_t>(utf8.size()), stream);
}

QString usageText(const QString& basePath) {
    return QStringLiteral(
               "usage: hvx-reg get SECTION NAME [DEFAULT]\n"
               "       hvx-reg set [--number] SECTION NAME VALUE\n"
               "       hvx-reg delete SECTION [NAME]\n"
               "       hvx-reg list [SECTION]\n"
               "       hvx-reg --key PATH get NAME [DEFAULT] | set [--number] NAME VALUE |\n"
               "                          delete [NAME] | list\n"
               "\n"
               "Sections are keys below %1;\n"
               "--key PATH names a full key path instead.\n"
               "get prints the value, or DEFAULT when there is none (without DEFAULT a missing\n"
               "value exits with 1). list prints section<TAB>name<TAB>value lines. --number\n"
               "stores a whole number instead of text.\n"
               "The store is $HVX_REGISTRY, else $XDG_CONFIG_HOME/halvex/registry.sqlite3.\n")
        .arg(basePath);
}

// Options come before the operands: a value or a default may itself start with "--".
std::optional<Invocation> parse(const QStringList& arguments, QString& error) {
    Invocation call;
    QStringList positional;
    bool optionsDone = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (optionsDone || positional.size() > 1 || !argument.startsWith(QLatin1String("--"))) {
            positional << argument;
        } else if (argument == QLatin1String("--")) {
            optionsDone = true;
        } else if (argument == QLatin1String("--key") && i + 1 < arguments.size()) {
            call.fullKey = true;
            call.where = arguments[++i];
        } else if (argument.startsWith(QLatin1String("--key="))) {
            call.fullKey = true;
            call.where = argument.mid(6);
        } else if (argument == QLatin1String("--number")) {
            call.number = true;
        } else {
            error = QStringLiteral("unknown option or missing argument: %1").arg(argument);
            return std::nullopt;
        }
    }
    if (positional.isEmpty()) {
        error = QStringLiteral("no command");
        return std::nullopt;
    }
    call.command = positional.takeFirst();

    struct Shape {
        const char* command;
        bool sectionRequired;  // without --key
        int minOperands;
        int maxOperands;
    };
    static constexpr Shape kShapes[] = {
        {"get", true, 1, 2}, {"set", true, 2, 2}, {"delete", true, 0, 1}, {"list", false, 0, 0}};
    const Shape* shape = nullptr;
    for (const Shape& candidate : kShapes) {
        if (call.command == QLatin1String(candidate.command)) {
            shape = &candidate;
        }
    }
    if (shape == nullptr) {
        error = QStringLiteral("unknown command: %1").arg(call.command);
        return std::nullopt;
    }
    if (call.number && call.command != QLatin1String("set")) {
        error = QStringLiteral("--number only applies to set");
        return std::nullopt;
    }
    if (!call.fullKey && !positional.isEmpty() &&
        (shape->sectionRequired || positional.size() > shape->maxOperands)) {
        call.where = positional.takeFirst();
    } else if (!call.fullKey && shape->sectionRequired) {
        error = QStringLiteral("%1 needs a section").arg(call.command);
        return std::nullopt;
    }
    if (positional.size() < shape->minOperands || positional.size() > shape->maxOperands) {
        error = QStringLiteral("wrong number of arguments for %1").arg(call.command);
        return std::nullopt;
    }
    if (call.where.isEmpty() && (call.fullKey || shape->sectionRequired)) {
        error = call.fullKey ? QStringLiteral("--key needs a key path")
                             : QStringLiteral("the section must not be empty");
        return std::nullopt;
    }
    call.operands = positional;
    return call;
}

class Tool {
  public:
    Tool(Invocation call, QString basePath)
        : call_(std::move(call)),
          basePath_(std::move(basePath)),
          database_(
              std::make_shared<hvx::RegistryDatabase>(hvx::SqliteRegistryStore::defaultPath())),
          store_(database_) {}

    int run() {
        if (call_.command == QLatin1String("get")) {
            return get();
        }
        if (call_.command == QLatin1String("set")) {
            return set();
        }
        if (call_.command == QLatin1String("delete")) {
            return drop();
        }
        return list();
    }

  private:
    static constexpr std::uint32_t kHive = RegistryStore::kCurrentUser;

    // A list without a section covers everything below the base path.
    QString keyPath() const {
        if (call_.fullKey) {
            return call_.where;
        }
        return call_.where.isEmpty() ? basePath_ : basePath_ + QLatin1Char('\\') + call_.where;
    }

    // A damaged store put aside is said once and then used afresh; a store that cannot be
    // used at all ends the command.
    bool storeReady() const {
        try {
            database_->ensureUsable();
        } catch (const hvx::RuntimeError& error) {
            write(stderr, QStringLiteral("hvx-reg: %1\n").arg(error.description()));
            try {
                database_->ensureUsable();
            } catch (const hvx::RuntimeError&) {
                return false;
            }
        }
        return true;
    }

    int storeFailure(const char* doing) const {
        write(stderr,
              QStringLiteral("hvx-reg: cannot %1 the store %2: %3\n")
                  .arg(QString::fromLatin1(doing), database_->path(), database_->lastError()));
        return kExitFailure;
    }

    int get() {
        const QString& name = call_.operands[0];
        QVariant value;
        int type = 0;
        if (!storeReady()) {
            return kExitFailure;
        }
        const int status = store_.QueryValue(kHive, keyPath(), name, value, type);
        if (status == RegistryStore::kStatusOk) {
            write(stdout, value.toString() + QLatin1Char('\n'));
            return 0;
        }
        if (status != RegistryStore::kStatusNotFound) {
            return storeFailure("read");
        }
        if (call_.operands.size() > 1) {
            write(stdout, call_.operands[1] + QLatin1Char('\n'));
            return 0;
        }
        write(stderr, QStringLiteral("hvx-reg: no value %1 in %2\n").arg(name, call_.where));
        return kExitFailure;
    }

    int set() {
        const QString& text = call_.operands[1];
        QVariant value = text;
        if (call_.number) {
            bool ok = false;
            value = text.toInt(&ok);
            if (!ok) {
                write(stderr,
                      QStringLiteral("hvx-reg: %1 is not a 32-bit whole number\n").arg(text));
                return kExitUsage;
            }
        }
        const int type = call_.number ? RegistryStore::kTypeNumber : RegistryStore::kTypeString;
        if (!storeReady()) {
            return kExitFailure;
        }
        if (store_.SetValue(kHive, keyPath(), call_.operands[0], value, type, true) !=
            RegistryStore::kStatusOk) {
            return storeFailure("write");
        }
        return 0;
    }

    // Deleting what is not there is no error, as for the Monitor's own deletes.
    int drop() {
        if (!storeReady()) {
            return kExitFailure;
        }
        const int status = call_.operands.isEmpty()
                               ? store_.DropKey(kHive, keyPath())
                               : store_.DropValue(kHive, keyPath(), call_.operands[0]);
        if (status != RegistryStore::kStatusOk && status != RegistryStore::kStatusNotFound) {
            return storeFailure("write");
        }
        return 0;
    }

    int list() {
        std::vector<RegistryStore::Entry> entries;
        if (!storeReady()) {
            return kExitFailure;
        }
        const int status = store_.ListValues(kHive, keyPath(), entries);
        if (status != RegistryStore::kStatusOk && status != RegistryStore::kStatusNotFound) {
            return storeFailure("read");
        }
        // Sections are shown relative to the base path; ASCII case folding keeps lengths, so
        // the prefix can be cut by length whatever case the store kept.
        const qsizetype cut = call_.fullKey ? 0 : basePath_.size() + 1;
        for (const RegistryStore::Entry& entry : entries) {
            write(stdout, entry.keyPath.mid(cut) + QLatin1Char('\t') + entry.name +
                              QLatin1Char('\t') + entry.value + QLatin1Char('\n'));
        }
        return 0;
    }

    Invocation call_;
    QString basePath_;
    std::shared_ptr<hvx::RegistryDatabase> database_;
    hvx::SqliteRegistryStore store_;
};

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QString basePath =
        hvx::BuiltInStringTable().LoadString(hvx::StringTable::kRegistryBasePath);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();

    if (arguments.size() == 1 &&
        (arguments[0] == QLatin1String("--help") || arguments[0] == QLatin1String("-h"))) {
        write(stdout, usageText(basePath));
        return 0;
    }
    QString error;
    std::optional<Invocation> call = parse(arguments, error);
    if (!call) {
        write(stderr, QStringLiteral("hvx-reg: %1\n").arg(error) + usageText(basePath));
        return kExitUsage;
    }
    return Tool(std::move(*call), basePath).run();
}
