"""The bus as it is described and as it answers: python3 bus_description_test.py CHECKOUT, inside the appliance."""
import json
import re
import subprocess
import sys

import jsonschema

checkout = sys.argv[1]
sys.path.insert(0, f"{checkout}/examples")
from bus_client import call  # noqa: E402  (the example is what calls here)

SERVICE = "harbex_network_service"
description = json.load(open("/usr/local/share/harbex/bus.schema.json"))
methods = description["services"][SERVICE]["methods"]
passed = failed = 0


def check(name, good, found=""):
    global passed, failed
    passed, failed = passed + bool(good), failed + (not good)
    if not good:
        print(f"[  FAILED  ] description.{name}: {found}")


def run(command):
    return subprocess.run(command, shell=True, stdout=subprocess.PIPE, text=True).stdout


def answered(method, body, code):
    """Calls, and holds request (when it is a good one) and reply to the description."""
    reply = call(SERVICE, method, body)
    schema = methods[method]["reply"] if method in methods else {"$ref": "#/$defs/unknown_method"}
    trouble = list(jsonschema.Draft202012Validator({**description, **schema}).iter_errors(reply))
    check(f"{method} {body[:30]}", reply["error"] == code and not trouble, (reply, trouble))
    check(f"{method}: order", list(reply) == ["data", "error"] + ["error_message"] * (code != 0) + ["meta"], reply)
    if code == 0 and body.startswith("{"):
        jsonschema.Draft202012Validator({**description, **methods[method]["request"]}).validate(json.loads(body))


jsonschema.Draft202012Validator.check_schema(description)
table = dict(re.findall(r'{"(\w+)", "([^"]+)", \1}', open(f"{checkout}/src/service/method_table.cpp").read()))
check("the table", len(table) == 15 and table == {name: m["description"] for name, m in methods.items()}, table)
documented = dict(re.findall(r"^### `(\w+)`: (.+)$", open(f"{checkout}/docs/bus.md").read(), re.M))
check("the document", documented == table, documented)
listed = dict(line.split(maxsplit=1) for line in run(f"bsh --list {SERVICE}").splitlines())
check("bsh --list", listed == table, listed)

for method, body, code in (
    ("get_gateway_info", "", 1001), ("Get_gateway_info", "anything", 0), ("Get_port_status", "", 0), ("Get_rxtx_bytecount", "", 0),
    ("Get_rxtx", "", 0), ("Get_public_ip", "", 1005), ("Supernode_halt", "", 0), ("Get_cloudtoken", "", 1010),
    ("Refresh_cloudtoken", "", 1010), ("Get_corvanetoken", "", 1010), ("Save_cloudtoken", "[", 1003), ("Update_org_name", "", 1010),
    ("Update_and_check_timeout", "", 1003), ("Update_and_check_timeout", "{}", 0), ("Flush_timeout", "", 0),
    ("Device_unregister_from_nas", "", 1019), ("Device_remove_by_corvane", "", 0),
):
    answered(method, body, code)
# A NAS that has joined, then one whose peers fail.
answered("Save_cloudtoken", json.dumps({"oauth_response_encoded": run("signin").strip()}), 0)
organization = json.loads(run("harbexctl --json org list"))["data"][0]["organization_id"]
run(f"harbexctl org use {organization} Any && harbexctl region use auto && harbexctl join")
answered("Get_corvanetoken", json.dumps({"orgId": organization}), 0)
for method in ("Get_cloudtoken", "Refresh_cloudtoken", "Update_org_name", "Get_public_ip", "Get_rxtx", "Device_unregister_from_nas"):
    answered(method, "", 0)
answered("Device_unregister_from_nas", "", 1016)
for broken, cases in (
    ("appliance-service stop corvane_expressd; fault /etc/init.d/corvane_express.sh exit:1; fault 'cloud:/v1.2/*' 'body:{}'",
     (("Get_rxtx", 1004), ("Supernode_halt", 1004), ("Device_remove_by_corvane", 1010), ("Update_org_name", 1003))),
    ("fault NetworkService.interfaces_monitor.get_info_interfaces 'body:{\"error\": 5}'", (("Get_rxtx", 1013),)),
    ("fault NetworkService.api.get_currentGWinfo 'body:{\"error\": 0, \"data\": 1}'",
     [(method, 1003) for method in ("Get_gateway_info", "Get_port_status", "Get_rxtx_bytecount", "Get_public_ip", "Get_rxtx")]),
    ("appliance-service stop NetworkService", (("Get_gateway_info", 1004),)),
):
    run(broken)
    for method, code in cases:
        answered(method, "", code)
check("the example in shell, failing", "cannot be had" in run(f"{checkout}/examples/port_status.sh 2>&1"))
run("fault NetworkService.api.get_currentGWinfo none; appliance-service start NetworkService")
check("the example in shell", run(f"{checkout}/examples/port_status.sh") == "PORT1 is connected\n")
check("the example in Python", '"Timeout state flushed"' in run(f"{checkout}/examples/bus_client.py {SERVICE}.Flush_timeout"))

print(f"[  PASSED  ] {passed} tests.")
if failed:
    print(f"[  FAILED  ] {failed} tests, listed above")
sys.exit(1 if failed else 0)
