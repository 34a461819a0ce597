// Any bytes given to the tasks-file reader either read, or fail with a message; what reads is
// written back in a form that reads again to the same tasks; and whatever the quick reader reads,
// the full one reads the same.
#include "model/TaskFileFastRead.h"
#include "model/TaskMigration.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const TaskMigration::ReadResult result = TaskMigration::read(bytes);
    if (const auto quick = TaskFileFastRead::read(bytes)) {
        const TaskMigration::ReadResult full = TaskMigration::readDocument(bytes);
        if (!full.ok() || full.tasks != *quick) {
            std::abort();
        }
    }
    if (!result.ok()) {
        if (result.error->description.isEmpty()) {
            std::abort();
        }
        return 0;
    }
    const QByteArray written = TaskMigration::encode(result.tasks);
    const TaskMigration::ReadResult again = TaskMigration::read(written);
    if (!again.ok() || again.tasks != result.tasks || TaskMigration::encode(again.tasks) != written) {
        std::abort();
    }
    for (const ScheduledTask &task : result.tasks) {
        (void)task.schedule.description();
    }
    return 0;
}
