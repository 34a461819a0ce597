#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/StoreSession.h"

namespace {

// `enable` and `disable`: the app's Enabled switch.
class SwitchCommand : public TaskCommand
{
public:
    explicit SwitchCommand(bool enable) : m_enable(enable) {}

    QString name() const override { return m_enable ? QStringLiteral("enable") : QStringLiteral("disable"); }
    QString synopsis() const override { return name() + QStringLiteral(" TASK"); }
    QString summary() const override
    {
        return m_enable ? QStringLiteral("Switch a task on and install its job.")
                        : QStringLiteral("Switch a task off and remove its job (history and logs stay).");
    }

    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        session.store().setEnabled(m_enable, task.id);
        return session.finish();
    }

private:
    bool m_enable;
};

} // namespace

std::unique_ptr<Command> Commands::makeEnable()
{
    return std::make_unique<SwitchCommand>(true);
}

std::unique_ptr<Command> Commands::makeDisable()
{
    return std::make_unique<SwitchCommand>(false);
}
