#include "ErrorManagerBase.h"

namespace hvx {

void ErrorManagerBase::SetLogFileLimit(double megabytes) {
    if (megabytes > 0) {
        limitMegabytes_ = megabytes;
    }
}

}  // namespace hvx
