#include "RegFunctions.h"

#include "AppContext.h"
#include "ProcedureCodes.h"
#include "platform/RegistryStore.h"

#include <QVariant>

namespace hvx {

namespace {

std::unique_ptr<RegistryStore> newStore(AppContext& ctx) {
    return create(ctx.env.registryStore, "RegistryStore");
}

}  // namespace

QString sectionKeyPath(const AppContext& ctx, const QString& section) {
    return ctx.registryBasePath + QLatin1Char('\\') + section;
}

QString GetRegValue(AppContext& ctx, const QString& section, const QString& name,
                    const QString& defaultValue) {
    ctx.procedureCode = code::kGetRegValue;
    auto store = newStore(ctx);
    QVariant value;
    int type = 0;
    const int status = store->QueryValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section),
                                         name, value, type);
    return status == RegistryStore::kStatusOk ? value.toString() : defaultValue;
}

void SaveRegValue(AppContext& ctx, const QString& section, const QString& name,
                  const QString& value) {
    ctx.procedureCode = code::kSaveRegValue;
    newStore(ctx)->SetValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section), name, value,
                            RegistryStore::kTypeString, true);
}

void DeleteRegValue(AppContext& ctx, const QString& section, const QString& name) {
    ctx.procedureCode = code::kDeleteRegValue;
    newStore(ctx)->DropValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section), name);
}

void DeleteRegSection(AppContext& ctx, const QString& section) {
    ctx.procedureCode = code::kDeleteRegSection;
    newStore(ctx)->DropKey(RegistryStore::kCurrentUser, sectionKeyPath(ctx, section));
}

}  // namespace hvx
