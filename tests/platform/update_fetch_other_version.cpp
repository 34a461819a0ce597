// A stand-in for an update module built for another version of the fetcher interface: it exports
// a creator under another name only, which the loader must refuse without calling anything.
#include <QtGlobal>

extern "C" Q_DECL_EXPORT void *moxleyCreateUpdateFetcher0()
{
    return nullptr;
}
