/** @file plain.cpp  The C++ layer for programs without exceptions and run-time types. Compiled, not run. */
#include "qvrfutil_inventory.hpp"
#include "qvrfutil_stream.hpp"
#include "qvrfutil_task.hpp"

int plain()
{
    const auto client = qvrfutil::Client::open();
    if (!client) return client.error().status;
    const auto session = qvrfutil::Session::open(**client);
    if (!session) return session.error().status;
    const auto answer = (*session)->post("/redfish/v1", "{}", qvrfutil::RequestOptions().with("Prefer: respond-async"));
    const auto task   = answer ? qvrfutil::Task::of(**session, *answer) : std::nullopt;
    const auto stream = qvrfutil::EventStream::open(**session);
    const auto whole  = qvrfutil::readMembers(**session, "/redfish/v1/Chassis");
    return whole && stream && (!task || task->wait(qvrfutil::Duration(1))) ? (*session)->close() ? 0 : 1 : 2;
}
