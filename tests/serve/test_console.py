"""The web console in a real browser: an operator logs in, changes variable 1,
sends it to an emulated display and follows the progress to the end, then
finds the text on the display by audit; a viewer sees no editing controls and
the API refuses its write. With SERVE_SCREENSHOTS=DIR it also photographs the
console at desktop and phone width."""

import os
import unittest

from selenium.webdriver.support.ui import Select

from browserrig import Browser
from rig import PASSWORDS, Rig


class Console(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rig = Rig()

    @classmethod
    def tearDownClass(cls):
        cls.rig.close()

    def setUp(self):
        self.browser = Browser()

    def tearDown(self):
        self.browser.close()

    def test_operator_changes_sends_and_audits(self):
        b = self.browser
        b.login(self.rig.url, 'operator', PASSWORDS['operator'])
        b.find('#var-table tr[data-var="1"] button.edit').click()
        data = b.visible('tr.editing input[name="data"]')
        data.clear()
        data.send_keys('FROM THE WEB')
        Select(b.find('tr.editing select[name="color"]')).select_by_visible_text('Green')
        b.find('tr.editing button.save').click()
        b.text_is('#var-table tr[data-var="1"] td.data', 'FROM THE WEB')
        self.assertIn('1\tText Var 1\tgreen', self.rig.tool('show', '1').stdout.replace('Green', 'green'))

        b.find('#tab-send').click()
        b.visible('#send-displays input[value="1"]').click()
        b.find('#send-vars').clear()
        b.find('#send-vars').send_keys('1')
        b.find('#send-go').click()
        b.text_is('#send-state', 'finished')
        self.assertEqual(b.find('progress[data-display="1"]').get_attribute('value'), '100')
        self.assertEqual(b.find('.result[data-display="1"]').text, 'Updated')
        self.assertIn('unit 1', b.find('#send-run .unit.ok').text)

        b.find('#tab-audit').click()
        b.visible('#audit-displays input[value="1"]').click()
        b.find('#audit-go').click()
        b.text_is('#audit-state', 'finished')
        self.assertEqual(b.find('.audit-values td.data').text, 'FROM THE WEB')
        self.assertTrue(b.find('.same').is_displayed())
        self.screenshots(b)

    def test_viewer_sees_no_editing_and_is_refused(self):
        b = self.browser
        b.login(self.rig.url, 'viewer', PASSWORDS['viewer'])
        self.assertEqual(b.all('#var-table button.edit'), [])
        b.find('#tab-send').click()
        self.assertFalse(b.find('#send-go').is_displayed())
        self.assertTrue(b.find('#tab-accounts').get_attribute('hidden') is not None)
        before = self.rig.vls_bytes()
        status = b.driver.execute_async_script(
            "const done = arguments[0];"
            "api('PATCH', '/variables/1', {data: 'viewer'}).then(() => done(200), (e) => done(e.status));")
        self.assertEqual(status, 403)
        self.assertEqual(self.rig.vls_bytes(), before)

    def screenshots(self, b):
        folder = os.environ.get('SERVE_SCREENSHOTS')
        if not folder:
            return
        os.makedirs(folder, exist_ok=True)
        d = b.driver
        click = lambda css: d.execute_script('arguments[0].click(); window.scrollTo(0, 0);', b.find(css))
        d.save_screenshot(os.path.join(folder, 'console-audit.png'))
        click('#tab-send')
        d.save_screenshot(os.path.join(folder, 'console-send.png'))
        click('#tab-variables')
        click('#var-table tr[data-var="3"] button.edit')
        d.execute_script('window.scrollTo(0, 0);')
        d.save_screenshot(os.path.join(folder, 'console-variables.png'))
        d.set_window_size(390, 844)
        click('tr.editing button.cancel')
        d.save_screenshot(os.path.join(folder, 'console-phone-variables.png'))
        click('#tab-send')
        d.save_screenshot(os.path.join(folder, 'console-phone-send.png'))

if __name__ == '__main__':
    unittest.main()
