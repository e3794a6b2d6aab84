#include "subnet_conflict.h"

#include "manager.h"

namespace network::test {
namespace {

class SubnetConflict : public Manager {
protected:
    static BusReply ask(const std::string& ip, const std::string& mask) {
        return call("api.check_network_intersect", "{\"ip\":\"" + ip + "\", \"mask\": \"" + mask + "\"}");
    }
};

TEST_F(SubnetConflict, OverlapsAreFound) {
    shell(
        "ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up;"
        "ip link add test3 type veth peer name test4; ip addr add 10.3.0.1/24 dev test3;"  // stays down
        "ip addr add 10.8.0.1 peer 10.8.0.9/32 dev test1; ip addr add 172.16.5.1/20 dev test1 noprefixroute;"
        "ip route add 10.20.0.0/16 via 192.168.1.1; ip route add blackhole 10.30.0.0/16;"
        "ip route add 10.40.0.0/16 via 192.168.1.1 table 30000");
    const struct {
        const char *name, *ip, *mask;
        int error;
    } cases[] = {
        {"free", "10.99.0.0", "255.255.255.0", 0},
        {"the LAN's last address", "192.168.1.255", "255.255.255.255", kSubnetOverlaps},
        {"right before the LAN", "192.168.0.77", "255.255.255.0", 0},
        {"around the LAN, given by a host in it", "192.168.200.3", "255.255.0.0", kSubnetOverlaps},
        {"loopback is nobody's network", "127.0.0.0", "255.0.0.0", 0},
        {"far end of a point-to-point link", "10.8.0.9", "255.255.255.255", kSubnetOverlaps},
        {"address whose subnet has no route", "172.16.15.0", "255.255.255.0", kSubnetOverlaps},
        {"interface that is down", "10.3.0.0", "255.255.255.0", 0},
        {"static route", "10.20.7.0", "255.255.255.0", kSubnetOverlaps},
        {"route that leads nowhere", "10.30.7.0", "255.255.255.0", 0},
        {"route of another table", "10.40.7.0", "255.255.255.0", 0},
    };
    for (const auto& c : cases) {
        const BusReply reply = ask(c.ip, c.mask);
        EXPECT_EQ(reply.error(), c.error) << c.name << ": " << reply.text;
        EXPECT_EQ(reply.member("data").empty(), c.error == 0) << c.name << ": " << reply.text;
    }
    EXPECT_EQ(ask("10.20.7.0", "255.255.255.0").member("data"), "Overlaps 10.20.0.0/16 of eth0");
}

}  // namespace
}  // namespace network::test
