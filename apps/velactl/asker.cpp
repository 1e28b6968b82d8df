#include "apps/velactl/asker.h"

#include "apps/velactl/inbox.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/task/vela_task.h"

namespace velactl {

Asker::Asker(std::uint32_t command, const SNACC::AsnType& request, CProcID server, int seconds,
             SNACC::AsnType& response)
    : m_thread([this, command, &request, server, seconds, &response] {
        VelaGnlTask task("request");
        const VelaCurrentTaskScope current(&task);
        m_result = CAsnPhyCmd(command, request, server, seconds, 0, 0).Exec(&task, response);
        m_done.store(true, std::memory_order_release);
        Inbox::Instance().Wake();
      }) {}

}  // namespace velactl
