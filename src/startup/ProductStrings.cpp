#include "ProductStrings.h"

#include "channel/AppContext.h"
#include "channel/ProcedureCodes.h"

namespace hvx {

QString GetStringResource(AppContext& ctx, long id) {
    return required(ctx.stringTable.get()).LoadString(id);
}

QString GetProductTerm(AppContext& ctx, const QString& key) {
    return required(ctx.termTranslator.get()).GetTerm(key, ctx.termContext);
}

bool GetLocalFolderPath(AppContext& ctx) {
    ctx.procedureCode = code::kGetLocalFolderPath;
    if (ctx.multiInstance) {
        ctx.localFolder = ctx.instanceDbIniFolder;
        return true;
    }
    auto finder = create(ctx.env.localFolder, "HvxLocalFolder.GetFolder");
    finder->SetRegistryPath(ctx.localFolderRegistryPath);
    ctx.localFolder = finder->GetLocalFolder();
    return !ctx.localFolder.isEmpty();
}

}  // namespace hvx
