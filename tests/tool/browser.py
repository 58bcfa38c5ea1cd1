# SPDX-License-Identifier: MIT OR GPL-2.0
"""A headless Chromium for tests and pictures. Needs Debian's chromium, chromium-driver and python3-selenium."""
import base64
import importlib
import os
import shutil
import sys

MISSING = 77  # the exit code of a test whose tools are missing


def need():
    """Ends the program if the browser or its driver is missing. Debian's modules belong to Debian's interpreter."""
    missing = [program for program in ("chromium", "chromedriver") if shutil.which(program) is None]
    try:
        importlib.import_module("selenium")
    except ImportError:
        system = "/usr/bin/python3"
        if os.path.exists(system) and os.environ.get("IFC_PYTHON") != system:
            os.environ["IFC_PYTHON"] = system
            os.execv(system, [system, *sys.argv])
        missing.append("python3-selenium")
    if missing:
        print("not installed:", *missing)
        sys.exit(MISSING)


class Browser:
    """One window. Pages are local files."""

    def __init__(self):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in ("--headless=new", "--disable-gpu", "--hide-scrollbars", "--disable-dev-shm-usage", "--lang=en"):
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

    def close(self):
        self.driver.quit()

    def show(self, path, width, scheme="light", height=1000):
        """Loads the page at this width, with a light or dark colour scheme."""
        self.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.driver.get("file://" + os.path.abspath(path))

    def command(self, name, **arguments):
        return self.driver.execute_cdp_cmd(name, arguments)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def messages(self):
        """What the console says since the last call."""
        return self.driver.get_log("browser")

    def press(self, *keys):
        from selenium.webdriver.common.action_chains import ActionChains
        from selenium.webdriver.common.keys import Keys
        for key in keys:
            ActionChains(self.driver).send_keys(getattr(Keys, key)).perform()

    def picture(self, x, y, width, height):
        """A part of the page, as PNG."""
        clip = {"x": x, "y": y, "width": width, "height": height, "scale": 1}
        return base64.b64decode(self.command("Page.captureScreenshot", captureBeyondViewport=True, clip=clip)["data"])
