"""Debian's Chromium, headless, driven over WebDriver (chromium-driver,
python3-selenium), with a profile of its own that disappears afterwards."""

import os
import shutil
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support import expected_conditions as EC
from selenium.webdriver.support.ui import WebDriverWait

FLAGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
         '--disable-background-networking', '--disable-component-update', '--disable-sync',
         '--disable-dev-shm-usage', '--hide-scrollbars', '--force-device-scale-factor=1']


class Browser:
    def __init__(self, width=1280, height=900):
        self.profile = tempfile.mkdtemp(prefix='chromium-')
        options = webdriver.ChromeOptions()
        options.binary_location = '/usr/bin/chromium'
        for flag in FLAGS + [f'--user-data-dir={self.profile}', f'--window-size={width},{height}']:
            options.add_argument(flag)
        self.driver = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        self.driver.set_page_load_timeout(30)

    def wait(self, condition, timeout=30):
        return WebDriverWait(self.driver, timeout).until(condition)

    def find(self, css):
        return self.wait(EC.presence_of_element_located((By.CSS_SELECTOR, css)))

    def visible(self, css):
        return self.wait(EC.visibility_of_element_located((By.CSS_SELECTOR, css)))

    def all(self, css):
        return self.driver.find_elements(By.CSS_SELECTOR, css)

    def text_is(self, css, text, timeout=60):
        return self.wait(EC.text_to_be_present_in_element((By.CSS_SELECTOR, css), text), timeout)

    def login(self, url, name, password):
        self.driver.get(url)
        self.visible('#login-name').send_keys(name)
        self.find('#login-password').send_keys(password)
        self.find('#login-submit').click()
        self.visible('#var-table tbody tr[data-var="1"]')

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)
