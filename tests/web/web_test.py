"""The reference front end in a real browser: python3 web_test.py CHECKOUT SCREENSHOTS."""
import json
import os
import re
import subprocess
import sys
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

checkout, screenshots = sys.argv[1], sys.argv[2]
os.makedirs(screenshots, exist_ok=True)
port = 8093
passed = failed = 0


def check(name, good, found=""):
    global passed, failed
    passed, failed = passed + bool(good), failed + (not good)
    print(f"[{'       OK ' if good else '  FAILED  '}] web.{name} {'' if good else found}")


nas = subprocess.Popen([f"{checkout}/scripts/web", str(port), "bash", "-s"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
address = nas.stdout.readline().strip()
options = webdriver.ChromeOptions()
for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-sync",
                 "--disable-background-networking", "--disable-component-update", "--window-size=1100,1300"):
    options.add_argument(argument)
options.binary_location = "/usr/bin/chromium"
options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
browser = webdriver.Chrome(service=webdriver.chrome.service.Service("/usr/bin/chromedriver"), options=options)


def inside(command):
    nas.stdin.write(command + "\n")
    nas.stdin.flush()


def text(css):
    return browser.find_element(By.CSS_SELECTOR, css).text


def within(name, seconds, condition):
    try:
        WebDriverWait(browser, seconds, 0.2, ignored_exceptions=[Exception]).until(lambda _: condition())
        check(name, True)
    except Exception:
        check(name, False, text("body")[:1500])


def press(action):
    browser.find_element(By.CSS_SELECTOR, f"button[data-do={action}]").send_keys(Keys.ENTER)


def pressed_until(action, words):
    """Presses again as long as the outcome is another one: what was said inside takes effect in its own time."""
    button = browser.find_element(By.CSS_SELECTOR, f"button[data-do={action}]")
    return words in text("#outcome") or (button.is_enabled() and press(action))


def status_of(path, method="GET", body=None, **headers):
    request = urllib.request.Request(f"http://127.0.0.1:{port}{path}", method=method, data=body, headers=headers)
    try:
        return urllib.request.urlopen(request, timeout=60).status
    except urllib.error.HTTPError as error:
        return error.code


def picture(name, width=1100, scheme="light"):
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": 1250, "deviceScaleFactor": 1, "mobile": False})
    check(f"{name}: nothing sticks out", browser.execute_script("return document.documentElement.scrollWidth <= innerWidth"))
    browser.save_screenshot(f"{screenshots}/{name}.png")


try:
    browser.get(address.split("?")[0])
    check("without the key", "key" in text("body"), text("body"))
    browser.get(address)
    within("joined", 20, lambda: text("#state") == "joined" and "tunnels are up" in text("#sentence"))
    within("gateway", 20, lambda: "192.168.1.10" in text("#gateway") and "PORT1, connected" in text("#gateway"))
    token = browser.execute_script(
        "return fetch('/bus/harbex_network_service.Get_cloudtoken', {method: 'POST', body: ''}).then((r) => r.json()).then((e) => e.data)")
    within("token, shortened", 20, lambda: token[:6] in text("#tokens") and text("#tokens").count("left") == 2)
    points = lambda: len(browser.find_element(By.CSS_SELECTOR, "#plot polyline").get_attribute("points").split())
    within("the plot moves", 20, lambda: points() > 3)
    inside("for i in $(seq 400); do head -c 1400 /dev/zero >/dev/udp/192.168.1.1/9; done")
    within("and shows traffic", 20, lambda: int(re.sub(r"\D", "", text("#top"))) > 50000)
    press("leave")
    within("left", 30, lambda: text("#outcome").startswith("Leave: done") and text("#state") == "edge-down")
    within("organisations offered", 20, lambda: "Field Office" in text("#organisation"))
    press("use-region")
    within("region used", 20, lambda: text("#outcome").startswith("Use: done"))
    inside("fault cloud:/cvnms/bthings/api/v1/edge status:503")
    within("what an action says", 40, lambda: pressed_until("join", "HTTP status 503"))
    inside("fault cloud:/cvnms/bthings/api/v1/edge none")
    within("joined again", 30, lambda: pressed_until("join", "Join: done") and text("#state") == "joined")
    inside("fault NetworkService.api.get_currentGWinfo 'body:{\"error\": 5, \"error_message\": \"<b>x\"}'")
    within("a fault's message appears", 30, lambda: "Get_gateway_info: error 1004" in text("#troubles"))
    inside("fault NetworkService.api.get_currentGWinfo none")
    within("and goes", 30, lambda: text("#troubles") == "")
    within("log lines", 20, lambda: "Entering Get_rxtx" in text("#log"))
    browser.find_element(By.CSS_SELECTOR, "#level").send_keys("ERROR")
    within("by level", 20, lambda: "[ERROR]" in text("#log") and "[DEBUG]" not in text("#log"))
    check("no token whole", token not in browser.page_source)
    for name, arguments in {"light": {}, "dark": {"scheme": "dark"}, "narrow": {"width": 360}}.items():
        picture(name, **arguments)
    # A headless browser asks for an icon of its own accord; the page has none.
    noise = [entry for entry in browser.get_log("browser") if "favicon" not in entry["message"] and "403" not in entry["message"]]
    check("nothing on the browser's console", not [e for e in noise if "50" not in e["message"]], noise)

    key = address.split("=")[1]
    good = {"Cookie": f"console{port}={key}", "Origin": f"http://127.0.0.1:{port}"}
    for name, expected, arguments in (
        ("another host", 403, ("/", "GET", None, {**good, "Host": "nas.example"})),
        ("another origin", 403, ("/do/status", "POST", b"", {**good, "Origin": "http://nas.example"})),
        ("no origin", 403, ("/do/status", "POST", b"", {"Cookie": good["Cookie"]})),
        ("a wrong key", 403, ("/?key=0", "GET", None, {})),
        ("no such action", 404, ("/do/reboot", "POST", b"", good)),
        ("no array of texts", 400, ("/do/use-region", "POST", b"[1]", good)),
        ("too large", 413, ("/bus/a.b", "POST", bytes(1024 * 1024 + 1), good)),
        ("no such service", 502, ("/bus/nobody.m", "POST", b"", good)),
    ):
        found = status_of(*arguments[:3], **arguments[3])
        check(name, found == expected, found)
    inside("fault NetworkService.api.get_currentGWinfo delay:30")
    within("a time-out has its reason", 30, lambda: status_of("/bus/NetworkService.api.get_currentGWinfo", "POST", b"", **good) == 504)
    check("never on the network", "127.0.0.1:" in subprocess.run(["ss", "-Hltn", f"sport = {port}"], stdout=subprocess.PIPE, text=True).stdout)
finally:
    browser.quit()
    nas.terminate()
    nas.wait(20)
check("nothing stays behind", subprocess.run(["pgrep", "-f", f"TCP-LISTEN:{port}"], stdout=subprocess.DEVNULL).returncode == 1)
print(f"[  PASSED  ] {passed} tests.")
if failed:
    print(f"[  FAILED  ] {failed} tests, listed above")
sys.exit(1 if failed else 0)
