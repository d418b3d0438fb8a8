// Service control across master and standby nodes, seen through the host
// service manager's journal.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "include/te_mor.h"
#include "service/service.h"
#include "support/fake_daemon.h"

using namespace temor::test;
using Lines = std::vector<std::string>;

namespace {

// Node set-up: a status file ("0".."4"), a forced status-query answer, or
// nothing at all (the query answers NOT_FOUND).
struct Node {
    uint32_t id;
    int status = -1;           // -1: no status file
    uint32_t queryResult = 0;  // non-zero: forced status-query answer
};

void place(const PlatformDirs &dirs, const Node &n, const std::string &service) {
    const std::string base = "services/" + std::to_string(n.id) + "/" + service;
    if (n.status >= 0) dirs.set_status(n.id, service, uint32_t(n.status));
    if (n.queryResult != 0) dirs.write(base + ".result", std::to_string(n.queryResult));
}

void standby(const PlatformDirs &dirs, const std::vector<Node> &nodes, const std::string &service) {
    std::string ids;
    for (const Node &n : nodes) {
        ids += std::to_string(n.id) + " ";
        place(dirs, n, service);
    }
    dirs.write("nodes/standby", ids);
}

// One standby node of each kind: stopped (0, 3), running (1, 2), a status
// the library does not know (4), a failing and an unanswered status query.
const std::vector<Node> kMixed = {{2, 0}, {3, 1}, {4, 4}, {5, 0, 0x12345678}, {6, 3}, {7, 2},
                                  {8}};

Lines cat(Lines a, const Lines &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

}  // namespace

TEST(FilterNodes, CompactsInPlaceKeepingOrderAndLeavesTheRest) {
    PlatformDirs dirs;
    standby(dirs, kMixed, "TE");
    const std::tuple<uint32_t, uint32_t, std::vector<uint16_t>> cases[] = {  // mode, kept, after
        {1, 3, {2, 4, 6, 5, 6, 7, 8}},  // start: not running, status known or 4
        {0, 3, {3, 4, 7, 5, 6, 7, 8}},  // stop: not stopped
        {7, 3, {3, 4, 7, 5, 6, 7, 8}},  // any other mode filters for a stop
    };
    for (const auto &[mode, kept, after] : cases) {
        std::vector<uint16_t> nodes = {2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(TE_MOR_FilterNodes(mode, "TE", uint32_t(nodes.size()), nodes.data()), kept) << mode;
        EXPECT_EQ(nodes, after) << mode;
    }
    EXPECT_EQ(TE_MOR_FilterNodes(1, "TE", 0, nullptr), 0u);
}

// A status query that succeeds without storing a status (a forced answer
// of 0) leaves the status of the node before it, past a failed query too;
// the first node starts from 4, neither running nor stopped.
TEST(FilterNodes, QueryWithoutStatusKeepsThePreviousOne) {
    PlatformDirs dirs;
    standby(dirs, {{2, 1}, {6, -1, 0x99}, {4, 0}}, "TE");
    for (const char *id : {"7", "3", "5"}) dirs.write(std::string("services/") + id + "/TE.result", "0");
    const std::pair<uint32_t, std::vector<uint16_t>> cases[] = {{1, {7, 4, 5}}, {0, {7, 2, 3}}};
    for (const auto &[mode, kept] : cases) {
        std::vector<uint16_t> nodes = {7, 2, 6, 3, 4, 5};
        nodes.resize(TE_MOR_FilterNodes(mode, "TE", uint32_t(nodes.size()), nodes.data()));
        EXPECT_EQ(nodes, kept) << mode;
    }
}

// A service other than TE, all the way: the master first, then the standby
// nodes that need it, in one batch. (Stopping takes the same filter, with
// its own mode; see the cases below.)
TEST(ServiceBatch, StartReachesTheStandbyNodesThatNeedIt) {
    PlatformDirs dirs;
    dirs.set_status(1, "PCE", 1);
    standby(dirs, kMixed, "PCE");
    dirs.write("services/2/PCE.start-result", "9");  // the batch carries on and reports it
    dirs.clear_calls();
    EXPECT_EQ(TE_MOR_StartServiceOn("PCE"), 9u);
    Lines calls = {"DEV_GetSystemMaster", "SERVICE_GetStatus 1 PCE 0", "DEV_GetAllStandbyNodes"};
    for (const Node &n : kMixed) calls.push_back("SERVICE_GetStatus " + std::to_string(n.id) + " PCE -1");
    calls.push_back("SERVICE_BatchStart 2,4,6 PCE 0 0");
    EXPECT_EQ(dirs.calls(), calls);
    EXPECT_EQ(dirs.read("services/2/PCE") + dirs.read("services/4/PCE"), "0\n1\n");
}

// Start: the master first, then the standby batch; the result is that of
// the last call that ran.
TEST(StartService, ResultIsThatOfTheLastCallThatRan) {
    const std::string start = "SERVICE_Start 1 TE 0 0", list = "DEV_GetAllStandbyNodes";
    struct Case {
        const char *name;
        Node master;
        uint32_t masterStart, node2Start;  // forced start answers
        bool listed;  // false: no standby list at all
        std::vector<Node> standbyNodes;
        uint32_t result;
        Lines calls;  // after asking for the master and its status
    } cases[] = {
        {"stopped master, no list", {1, 0}, 0, 0, false, {}, 0, {start, list}},
        {"master status 3, empty list", {1, 3}, 0, 0, true, {}, 0, {start, list}},
        {"master unknown counts as stopped", {1}, 0, 0, false, {}, 0, {start, list}},
        {"master start fails", {1}, 0x2222, 0, true, {{2, 0}}, 0x2222, {start}},
        {"master query fails", {1, 0, 0x3333}, 0, 0, true, {{2, 0}}, 0x3333, {}},
        {"everything running", {1, 2}, 0, 0, true, {{2, 1}, {3, 2}}, 0,
         {list, "SERVICE_GetStatus 2 TE -1", "SERVICE_GetStatus 3 TE -1"}},
        {"batch start fails", {1, 1}, 0, 0x4444, true, {{2, 0}}, 0x4444,
         {list, "SERVICE_GetStatus 2 TE -1", "SERVICE_BatchStart 2 TE 0 0"}},
    };
    for (const Case &c : cases) {
        PlatformDirs dirs;
        place(dirs, c.master, "TE");
        if (c.masterStart != 0) dirs.write("services/1/TE.start-result", std::to_string(c.masterStart));
        if (c.listed) standby(dirs, c.standbyNodes, "TE");
        if (c.node2Start != 0) dirs.write("services/2/TE.start-result", std::to_string(c.node2Start));
        dirs.clear_calls();
        EXPECT_EQ(TE_MOR_StartService(), c.result) << c.name;
        EXPECT_EQ(dirs.calls(), cat({"DEV_GetSystemMaster", "SERVICE_GetStatus 1 TE 0"}, c.calls)) << c.name;
    }
}

// Stop: the standby nodes still running in one batch first (its own failure
// never reported), then the master, whose outcome is the result.
TEST(StopService, MasterOutcomeIsTheResult) {
    const Lines batch = {"SERVICE_GetStatus 2 TE -1", "SERVICE_GetStatus 3 TE -1", "SERVICE_BatchStop 2 TE 0 3"};
    const std::string query = "SERVICE_GetStatus 1 TE 0", stop = "SERVICE_Stop 1 TE 0 3";
    struct Case {
        const char *name;
        Node master;
        uint32_t masterStop;
        bool listed;
        uint32_t result;
        Lines calls;  // after asking for the master and the standby list
    } cases[] = {
        {"master query fails after the batch", {1, 1, 0x5555}, 0, true, 0x5555, cat(batch, {query})},
        {"master unknown", {1}, 0, true, TE_MOR_ERR_NOT_FOUND, cat(batch, {query})},
        {"master already stopped", {1, 3}, 0, true, 0, cat(batch, {query})},
        {"master stop fails", {1, 2}, 0x6666, true, 0x6666, cat(batch, {query, stop})},
        {"no standby list", {1, 1}, 0, false, 0, {query, stop}},
    };
    for (const Case &c : cases) {
        PlatformDirs dirs;
        place(dirs, c.master, "TE");
        if (c.masterStop != 0) dirs.write("services/1/TE.stop-result", std::to_string(c.masterStop));
        if (c.listed) standby(dirs, {{2, 1}, {3, 0}}, "TE");  // node 3 is already stopped
        dirs.write("services/2/TE.stop-result", "0x7777");
        dirs.clear_calls();
        EXPECT_EQ(TE_MOR_StopService("TE"), c.result) << c.name;
        EXPECT_EQ(dirs.calls(), cat({"DEV_GetSystemMaster", "DEV_GetAllStandbyNodes"}, c.calls)) << c.name;
    }
}

// Standby nodes are asked with the master's selector, up to the first
// running one.
TEST(IsTeGlobalEnable, AnswersFromMasterThenStandbyNodes) {
    struct Case {
        const char *name;
        Node master;
        std::vector<Node> standbyNodes;
        int result;
        Lines calls;  // after the master, when checked
    } cases[] = {
        {"standby only, status 2", {1, 0}, {{2, 3}, {3, 2}, {4, 0}}, 1,
         {"DEV_GetAllStandbyNodes", "SERVICE_GetStatus 2 TE 0", "SERVICE_GetStatus 3 TE 0"}},
        {"nothing running", {1, 3}, {{2, 0}, {3, 4}, {4, 1, 0x99}}, 0, {}},
        {"master unknown, standby running", {1}, {{2, 1}}, 1, {}},
        {"empty list", {1, 0}, {}, 0, {"DEV_GetAllStandbyNodes"}},
    };
    for (const Case &c : cases) {
        PlatformDirs dirs;
        place(dirs, c.master, "TE");
        standby(dirs, c.standbyNodes, "TE");
        dirs.clear_calls();
        EXPECT_EQ(TE_MOR_IsTeGlobalEnable(), c.result) << c.name;
        if (c.calls.empty()) continue;
        EXPECT_EQ(dirs.calls(), cat({"DEV_GetSystemMaster", "SERVICE_GetStatus 1 TE 0"}, c.calls)) << c.name;
    }
}
