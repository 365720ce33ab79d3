#!/usr/bin/python3
"""Opens a page of veltra-report in headless Chromium, does what the arguments say, one after the
other, and prints what can be seen.

usage: page_probe.py PAGE STEP...

  click SELECTOR     clicks the first element that is on top where it is
  choose ID TEXT     chooses an entry of a list
  press KEY          presses a key
  text SELECTOR      prints the text of each visible element
  count SELECTOR     prints how many visible elements there are
  value EXPRESSION   prints the value of a script expression
  picture FILE       keeps a picture of the page
  problems           prints what the browser complained about, and what it tried to load
"""
import json
import os
import pathlib
import socket
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select


system_look_up = socket.getaddrinfo


def look_up(host, *arguments, **options):
    """A bare system has no file that says where the driver's "localhost" is."""
    return system_look_up("127.0.0.1" if host == "localhost" else host, *arguments, **options)


socket.getaddrinfo = look_up


def start(folder):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--hide-scrollbars", "--window-size=1280,940", "--user-data-dir=" + folder):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    # Chromium keeps files of its own in the user's folders otherwise.
    os.environ.update({name: folder for name in ("HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME")})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def loaded_addresses(browser, page):
    """What the page loaded beside itself; the browser's first page is none of our business."""
    for entry in browser.get_log("performance"):
        message = json.loads(entry["message"])["message"]
        if message["method"] != "Network.requestWillBeSent":
            continue
        address = message["params"]["request"]["url"]
        if message["params"]["documentURL"] == page and address != page:
            yield address


def take(browser, page, steps):
    def find(selector):
        return [one for one in browser.find_elements(By.CSS_SELECTOR, selector) if one.is_displayed()]

    while steps:
        step = steps.pop(0)
        if step == "click":
            find(steps.pop(0))[0].click()
        elif step == "choose":
            Select(browser.find_element(By.ID, steps.pop(0))).select_by_visible_text(steps.pop(0))
        elif step == "press":
            key = steps.pop(0)
            browser.switch_to.active_element.send_keys(getattr(Keys, key, key))
        elif step == "text":
            for one in find(steps.pop(0)):
                print(one.text)
        elif step == "count":
            print(len(find(steps.pop(0))))
        elif step == "value":
            print(browser.execute_script("return " + steps.pop(0)))
        elif step == "picture":
            browser.save_screenshot(steps.pop(0))
        elif step == "problems":
            for entry in browser.get_log("browser"):
                print(entry["message"])
            for address in loaded_addresses(browser, page):
                if not address.startswith("data:"):
                    print("loaded", address)
        else:
            sys.exit("unknown step " + step)


def main():
    page = pathlib.Path(sys.argv[1]).resolve().as_uri()
    with tempfile.TemporaryDirectory() as folder:
        browser = start(folder)
        try:
            browser.get(page)
            take(browser, page, sys.argv[2:])
        finally:
            browser.quit()


main()
