#!/usr/bin/python3
"""Opens pages of kve report in a browser: report_pages.py PAGE...

Each must draw all of its charts, on a light and a dark screen and on paper, and ask nobody for anything.
Status 77 where the browser is not installed (chromium, chromium-driver, python3-selenium).
"""
import base64
import pathlib
import shutil
import sys

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
except ImportError:
    sys.exit(print("python3-selenium is not installed") or 77)
DRIVER, BROWSER = shutil.which("chromedriver"), shutil.which("chromium")
if not DRIVER or not BROWSER:
    sys.exit(print("chromium or chromium-driver is not installed") or 77)

# Of each canvas the number of colours that it has, up to 3, and a sum that tells pictures apart.
LOOK = """
return [...document.querySelectorAll('canvas')].map((canvas) => {
  const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext('2d', {willReadFrequently: true});
  copy.drawImage(canvas, 0, 0);
  const bytes = copy.getImageData(0, 0, canvas.width, canvas.height).data;
  const words = new Uint32Array(bytes.buffer), colours = new Set();
  let sum = 0;
  for (const word of words) { if (colours.size < 3) colours.add(word); sum = (sum * 31 + word) >>> 0; }
  return [colours.size, sum];
});"""
PICTURES = """
return report.sections.flatMap((section) => section.figures)
    .filter((figure) => figure.picture && figure.picture.kind !== 'heat').length;"""
UNTITLED = """
return pictures.filter(({picture, canvas}) => !picture.x.title || !picture.y.title ||
    !canvas.closest('figure').querySelector('details table tbody tr')).length;"""
STRANGE = "return document.querySelectorAll('img, iframe, link').length + performance.getEntriesByType('resource').length"


def look(browser):
    return browser.execute_async_script(
        "const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(() =>"
        " done((() => {" + LOOK + "})())));")


def check(browser, page):
    faults = []

    def expect(holds, words):
        if not holds:
            faults.append(f"{page.name}: {words}")

    def in_colours(scheme):
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        return look(browser)

    browser.get(page.resolve().as_uri())
    light, dark = in_colours("light"), in_colours("dark")
    n = browser.execute_script(PICTURES)
    expect(n > 0 and len(light) == n, f"{len(light)} charts for {n} pictures")
    expect(all(colours == 3 for colours, _ in light + dark), f"empty charts: {light} {dark}")
    expect(all(a != b for a, b in zip(light, dark)), "the same colours in the dark")
    expect(browser.execute_script(UNTITLED) == 0, "pictures without titles of axes or a table")
    expect(browser.execute_script(STRANGE) == 0, "something that is no part of the page")
    browser.execute_script("addEventListener('afterprint', () => {}); "
                           "addEventListener('beforeprint', () => { window.printed = Chart.defaults.font.size; });")
    pdf = base64.b64decode(browser.execute_cdp_cmd("Page.printToPDF", {"printBackground": True})["data"])
    expect(pdf.count(b"/Type /Page\n") + pdf.count(b"/Type /Page ") > 1 or len(pdf) > 30000, "an empty print")
    expect(browser.execute_script("return window.printed") == 10, "not drawn for paper")
    expect(look(browser) == dark, "not drawn anew after printing")
    said = browser.get_log("browser")
    expect(not said, f"the console has {said}")
    return faults


options = webdriver.ChromeOptions()
options.binary_location = BROWSER
for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1280,900"):
    options.add_argument(argument)
options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
browser = webdriver.Chrome(service=Service(DRIVER), options=options)
try:
    found = [fault for page in sys.argv[1:] for fault in check(browser, pathlib.Path(page))]
finally:
    browser.quit()
print("\n".join(found))
sys.exit(1 if found else 0)
